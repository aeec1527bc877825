#include "itcMailboxMonitorImpl.h"

#include <quoria/itc/itcMessages.h>
#include <quoria/itc/itcOperations.h>
#include <quoria/itcMessageSubscription/itcMessageSubscriptionIf.h>
#include <quoria/threadLocal/threadLocalLinux.h>

#include <algorithm>
#include <mutex>
#include <utility>

namespace Quoria::ItcMailboxMonitor::V1 {

namespace {

using ItcMessageSubscription::V1::ItcMessageSubscriptionIf;
using ThreadInstance = ThreadLocal::V1::detail::ThreadLocalLinux<ItcMailboxMonitorImpl, 1>;

std::mutex lastHandleMutex;
unsigned int lastHandle = 0;

unsigned int nextHandle() {
    const std::lock_guard<std::mutex> lock(lastHandleMutex);
    return ++lastHandle;
}

class Delivery;
thread_local Delivery* innermost = nullptr;

// One indication on its way to its users, on the stack of handleMonitorIndMsg(). It outlives the
// monitor if a callback resets that, and so can tell.
class Delivery {
public:
    Delivery(const ItcMailboxMonitorImpl* monitor, std::vector<unsigned int> users)
        : monitor_(monitor), users_(std::move(users)), outer_(innermost) {
        innermost = this;
    }
    ~Delivery() { innermost = outer_; }
    Delivery(const Delivery&) = delete;
    Delivery& operator=(const Delivery&) = delete;

    const std::vector<unsigned int>& users() const { return users_; }
    bool monitorIsAlive() const { return monitor_ != nullptr; }

    // Whether the user is one that a delivery has still to tell.
    static bool isUnderWayTo(unsigned int user, const ItcMailboxMonitorImpl* monitor) {
        for (const Delivery* delivery = innermost; delivery != nullptr;
             delivery = delivery->outer_) {
            const auto& users = delivery->users_;
            if (delivery->monitor_ == monitor &&
                std::find(users.begin(), users.end(), user) != users.end()) {
                return true;
            }
        }
        return false;
    }

    static void monitorEnds(const ItcMailboxMonitorImpl* monitor) {
        for (Delivery* delivery = innermost; delivery != nullptr; delivery = delivery->outer_) {
            if (delivery->monitor_ == monitor) {
                delivery->monitor_ = nullptr;
            }
        }
    }

private:
    const ItcMailboxMonitorImpl* monitor_;
    const std::vector<unsigned int> users_;
    Delivery* const outer_;  // a callback may run the event loop, and that deliver another one
};

}  // namespace

ItcMailboxMonitorImpl& ItcMailboxMonitorImpl::getInstance() {
    return *ThreadInstance::getInstance();
}

void ItcMailboxMonitorImpl::reset() {
    ThreadInstance::resetInstance();
}

ItcMailboxMonitorImpl::ItcMailboxMonitorImpl() {
    // Whoever has taken the number before keeps it.
    static_cast<void>(ItcMessageSubscriptionIf::getInstance().addMsgHandler(
        Itc::kMonitorIndMsgNo,
        [this](const std::shared_ptr<itc_msg>& msg) { handleMonitorIndMsg(msg); }));
}

ItcMailboxMonitorImpl::~ItcMailboxMonitorImpl() {
    Delivery::monitorEnds(this);
    // At the end of a thread its subscription may be gone already, and the handler with it.
    static_cast<void>(
        ItcMessageSubscriptionIf::getInstance().removeMsgHandler(Itc::kMonitorIndMsgNo));
    // What a callback owns may call this monitor as it goes; it then finds the tables empty.
    itcMonitors_.clear();
    const auto dropped = std::exchange(users_, {});
}

unsigned int ItcMailboxMonitorImpl::monitor(unsigned int mailbox,
                                            const std::function<void(unsigned int)>& callback) {
    const unsigned int handle = nextHandle();
    users_[handle] = UserData{mailbox, callback};
    const auto shared = itcMonitors_.find(mailbox);
    if (shared != itcMonitors_.end()) {
        ++shared->second.users;
        return handle;
    }
    itc_msg* indication = Itc::alloc(sizeof(Itc::MonitorIndMsg), Itc::kMonitorIndMsgNo);
    itcMonitors_[mailbox] = ItcMonitorData{Itc::monitor(mailbox, &indication), 1};
    return handle;
}

bool ItcMailboxMonitorImpl::unmonitor(unsigned int monitorId) {
    const auto user = users_.find(monitorId);
    if (user == users_.end()) {
        return false;
    }
    const unsigned int mailbox = user->second.mailbox;
    users_.erase(user);
    if (Delivery::isUnderWayTo(monitorId, this)) {
        // Its itc monitor is spent. If there is another one by now, this user has no part in it.
        return true;
    }
    const auto shared = itcMonitors_.find(mailbox);
    if (shared != itcMonitors_.end() && --shared->second.users == 0) {
        Itc::unmonitor(shared->second.itcMonitorId);
        itcMonitors_.erase(shared);
    }
    return true;
}

void ItcMailboxMonitorImpl::handleMonitorIndMsg(const std::shared_ptr<itc_msg>& msg) {
    const unsigned int mailbox = Itc::sender(msg.get());
    itcMonitors_.erase(mailbox);
    const Delivery delivery(this, usersOf(mailbox));
    for (const unsigned int handle : delivery.users()) {
        const auto user = users_.find(handle);
        if (user == users_.end()) {
            continue;  // unmonitored by an earlier callback of this delivery
        }
        const std::function<void(unsigned int)> callback = std::move(user->second.callback);
        users_.erase(user);
        dispatch(callback, mailbox);
        if (!delivery.monitorIsAlive()) {
            return;
        }
    }
}

void ItcMailboxMonitorImpl::dispatch(const std::function<void(unsigned int)>& callback,
                                     unsigned int mailbox) {
    callback(mailbox);
}

std::vector<unsigned int> ItcMailboxMonitorImpl::usersOf(unsigned int mailbox) const {
    std::vector<unsigned int> handles;
    for (const auto& [handle, user] : users_) {
        if (user.mailbox == mailbox) {
            handles.push_back(handle);
        }
    }
    return handles;
}

}  // namespace Quoria::ItcMailboxMonitor::V1
