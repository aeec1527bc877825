#include "itcMailboxLocatorImpl.h"

#include <quoria/itc/itcMessages.h>
#include <quoria/itc/itcOperations.h>
#include <quoria/itcMessageSubscription/itcMessageSubscriptionIf.h>
#include <quoria/threadLocal/threadLocalLinux.h>
#include <quoria/trace/trace.h>

#include <utility>

namespace Quoria::ItcMailboxLocator::V1 {

namespace {

using ItcMessageSubscription::V1::ItcMessageSubscriptionIf;
using ThreadInstance = ThreadLocal::V1::detail::ThreadLocalLinux<ItcMailboxLocatorImpl, 1>;

}  // namespace

ItcMailboxLocatorImpl& ItcMailboxLocatorImpl::getInstance() {
    return *ThreadInstance::getInstance();
}

void ItcMailboxLocatorImpl::reset() {
    ThreadInstance::resetInstance();
}

ItcMailboxLocatorImpl::ItcMailboxLocatorImpl() : lastIdentity_(0) {
    // Whoever has taken the number before keeps it.
    static_cast<void>(ItcMessageSubscriptionIf::getInstance().addMsgHandler(
        Itc::kLocateIndMsgNo,
        [this](const std::shared_ptr<itc_msg>& msg) { handleLocateIndMsg(msg); }));
}

ItcMailboxLocatorImpl::~ItcMailboxLocatorImpl() {
    // At the end of a thread its subscription may be gone already, and the handler with it.
    static_cast<void>(
        ItcMessageSubscriptionIf::getInstance().removeMsgHandler(Itc::kLocateIndMsgNo));
    // What a callback owns may call this locator as it goes.
    while (!pending_.empty()) {
        const auto dropped = std::exchange(pending_, {});
    }
}

void ItcMailboxLocatorImpl::locate(const std::string& name,
                                   const std::function<void(unsigned int)>& callback) {
    const unsigned int identity = ++lastIdentity_;
    // Copied before it is entered: a copy that throws must not leave an empty callback behind.
    LocateCallback copy(callback);
    pending_.insert_or_assign(identity, std::move(copy));
    itc_msg* indication = Itc::alloc(sizeof(Itc::LocateIndMsg), Itc::kLocateIndMsgNo);
    reinterpret_cast<Itc::LocateIndMsg*>(indication)->identity = identity;
    Itc::locateAsync(name.c_str(), &indication);
}

void ItcMailboxLocatorImpl::handleLocateIndMsg(const std::shared_ptr<itc_msg>& msg) {
    // Any process may send this number, and a block without an identity with it.
    if (Itc::blockSize(msg.get()) < sizeof(Itc::LocateIndMsg)) {
        QTRACE_ERROR("Ignoring malformed locate indication from mailbox: 0x"
                     << std::hex << Itc::sender(msg.get()));
        return;
    }
    const unsigned int identity = reinterpret_cast<const Itc::LocateIndMsg*>(msg.get())->identity;
    const auto request = pending_.find(identity);
    if (request == pending_.end()) {
        QTRACE_ERROR("Received locate indication with unexpected identity: " << identity);
        return;
    }
    const LocateCallback callback = std::move(request->second);
    pending_.erase(request);
    callback(Itc::sender(msg.get()));
}

}  // namespace Quoria::ItcMailboxLocator::V1
