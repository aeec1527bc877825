// itcMailboxMonitorImpl.h: the mailbox monitor of one thread.
//
// Private header of itcMailboxMonitor.
//
// Made, used and destroyed by its owner thread alone; nothing is locked but the counter of handles,
// which all threads share.
#ifndef QUORIA_ITCMAILBOXMONITOR_ITCMAILBOXMONITORIMPL_H
#define QUORIA_ITCMAILBOXMONITOR_ITCMAILBOXMONITORIMPL_H

#include <quoria/itcMailboxMonitor/itcMailboxMonitorIf.h>

#include <memory>
#include <unordered_map>
#include <vector>

struct itc_msg;

namespace Quoria::ItcMailboxMonitor::V1 {

class QUORIA_EXPORT ItcMailboxMonitorImpl : public ItcMailboxMonitorIf {
public:
    static ItcMailboxMonitorImpl& getInstance();
    // Destroys the calling thread's instance, if there is one. Its callbacks may do so.
    static void reset();

    ItcMailboxMonitorImpl();
    ~ItcMailboxMonitorImpl() override;

    unsigned int monitor(unsigned int mailbox,
                         const std::function<void(unsigned int)>& callback) override;
    bool unmonitor(unsigned int monitorId) override;

    // Tells all users of the mailbox that the indication comes from.
    void handleMonitorIndMsg(const std::shared_ptr<itc_msg>& msg);
    // Calls `callback`, which may destroy this instance.
    void dispatch(const std::function<void(unsigned int)>& callback, unsigned int mailbox);

private:
    struct UserData {
        unsigned int mailbox;
        std::function<void(unsigned int)> callback;
    };
    // The one itc monitor that all users of a mailbox share.
    struct ItcMonitorData {
        unsigned int itcMonitorId;
        unsigned int users;
    };

    std::vector<unsigned int> usersOf(unsigned int mailbox) const;

    std::unordered_map<unsigned int, ItcMonitorData> itcMonitors_;  // by watched mailbox
    std::unordered_map<unsigned int, UserData> users_;              // by handle
};

}  // namespace Quoria::ItcMailboxMonitor::V1

#endif
