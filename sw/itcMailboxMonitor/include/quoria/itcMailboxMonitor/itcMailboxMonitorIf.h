// itcMailboxMonitorIf.h: tells a thread when another mailbox goes away.
//
// Public header.
//
// Every thread has a monitor of its own. Any number of its users may watch the same mailbox; each
// is told once, by a callback on that thread, when the mailbox is deleted or its thread or process
// ends in whatever way. The callbacks come as messages to the thread's mailbox: the thread must own
// one and receive from it through its message subscription.
//
// The monitor copies callbacks and owns the copies until they have been called.
#ifndef QUORIA_ITCMAILBOXMONITOR_ITCMAILBOXMONITORIF_H
#define QUORIA_ITCMAILBOXMONITOR_ITCMAILBOXMONITORIF_H

#include <quoria/util/export.h>

#include <functional>

namespace Quoria::ItcMailboxMonitor::V1 {

class QUORIA_EXPORT ItcMailboxMonitorIf {
public:
    // Returns the calling thread's monitor, made on first use. It lives until the thread ends; its
    // callbacks are dropped then without a call.
    // Thread: any.
    static ItcMailboxMonitorIf& getInstance();

    ItcMailboxMonitorIf(const ItcMailboxMonitorIf&) = delete;
    ItcMailboxMonitorIf& operator=(const ItcMailboxMonitorIf&) = delete;

    // Has `callback` called once, with `mailbox`, when that mailbox has gone; if it has gone
    // already, soon, but never from inside this call. Returns the handle of this registration, for
    // unmonitor(); no two registrations in the process have the same, whatever their threads.
    // On a thread without a mailbox the callback is never called.
    // Callbacks of one mailbox come in no particular order. A callback may call any operation, also
    // for the same mailbox; its own registration has ended by then. An empty callback throws
    // std::bad_function_call when its turn comes.
    // Thread: owner.
    virtual unsigned int monitor(unsigned int mailbox,
                                 const std::function<void(unsigned int)>& callback) = 0;

    // Ends the registration: its callback is not called any more, even if the mailbox has gone
    // meanwhile. Returns false when there is no such registration on this thread, because it was
    // never made here or has ended. Thread: owner.
    virtual bool unmonitor(unsigned int monitorId) = 0;

    virtual ~ItcMailboxMonitorIf();

protected:
    ItcMailboxMonitorIf() = default;
};

}  // namespace Quoria::ItcMailboxMonitor::V1

#endif
