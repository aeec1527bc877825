// itcMailboxLocatorIf.h: finds a mailbox by name, without waiting for it.
//
// Public header.
//
// Every thread has a locator of its own. A request is answered by a callback on that thread, at
// once when a mailbox of that name exists and otherwise as soon as one does. The answers come as
// messages to the thread's mailbox: the thread must own one and receive from it through its message
// subscription.
//
// The locator copies callbacks and owns the copies until they have been called.
#ifndef QUORIA_ITCMAILBOXLOCATOR_ITCMAILBOXLOCATORIF_H
#define QUORIA_ITCMAILBOXLOCATOR_ITCMAILBOXLOCATORIF_H

#include <quoria/util/export.h>

#include <functional>
#include <string>

namespace Quoria::ItcMailboxLocator::V1 {

// Called with the mailbox that was found. An exception that it throws leaves EventLoopIf::run().
using LocateCallback = std::function<void(unsigned int)>;

class QUORIA_EXPORT ItcMailboxLocatorIf {
public:
    // Returns the calling thread's locator, made on first use. It lives until the thread ends; its
    // callbacks are dropped then without a call.
    // Thread: any
    static ItcMailboxLocatorIf& getInstance();

    ItcMailboxLocatorIf(const ItcMailboxLocatorIf&) = delete;
    ItcMailboxLocatorIf& operator=(const ItcMailboxLocatorIf&) = delete;

    // Has `callback` called once, with the mailbox that has the name `name`, as soon as there is
    // one, but never from inside this call. Each request gets an answer of its own, several for one
    // name too. A mailbox may be gone again by the time the callback is told of it; whoever needs
    // to know monitors it (itcMailboxMonitorIf.h). A name that no mailbox ever takes, and one that
    // none can have, is never answered; a request can't be taken back.
    // On a thread without a mailbox the callback is never called.
    // A callback may call any operation, also for the same name. An empty callback throws
    // std::bad_function_call when its turn comes.
    // Thread: owner
    virtual void locate(const std::string& name,
                        const std::function<void(unsigned int)>& callback) = 0;

    virtual ~ItcMailboxLocatorIf();

protected:
    ItcMailboxLocatorIf() = default;
};

}  // namespace Quoria::ItcMailboxLocator::V1

#endif
