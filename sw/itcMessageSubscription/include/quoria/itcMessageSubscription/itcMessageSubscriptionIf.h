// itcMessageSubscriptionIf.h: the messages that a thread's mailbox receives, handed to a handler
// each.
//
// Public header.
//
// Every thread has a subscription of its own: a table from message number to handler, fed from the
// thread's mailbox by the thread's event loop. All handlers run on that thread, inside
// EventLoopIf::run(), one at a time and in the order in which the messages were received. A message
// whose number nobody has registered is reported by an ERROR trace event and freed.
//
// The subscription copies handlers and owns the copies. The mailbox and its descriptor stay the
// caller's: they must outlive the subscription's use of them.
#ifndef QUORIA_ITCMESSAGESUBSCRIPTION_ITCMESSAGESUBSCRIPTIONIF_H
#define QUORIA_ITCMESSAGESUBSCRIPTION_ITCMESSAGESUBSCRIPTIONIF_H

#include <quoria/util/export.h>

#include <functional>
#include <memory>

struct itc_msg;

namespace Quoria::ItcMessageSubscription::V1 {

// Called with a received message. Keeping a copy of the pointer keeps the message; it is freed with
// the last copy, and nobody else may free or send it. An exception that a handler throws leaves
// EventLoopIf::run().
using MsgHandler = std::function<void(const std::shared_ptr<itc_msg>&)>;

class QUORIA_EXPORT ItcMessageSubscriptionIf {
public:
    enum ReturnCode : unsigned int {
        OK = 0,
        ALREADY_EXISTS = 1,  // the first registration stays
        NOT_FOUND = 2,
        WRONG_THREAD = 3,  // not the thread that made the instance; nothing was changed
        OS_ERROR = 4       // the event loop refused the descriptor
    };

    // Returns the calling thread's subscription, made on first use. It lives until the thread ends;
    // what it holds then is dropped, and its descriptor leaves the event loop.
    // Thread: any.
    static ItcMessageSubscriptionIf& getInstance();

    ItcMessageSubscriptionIf(const ItcMessageSubscriptionIf&) = delete;
    ItcMessageSubscriptionIf& operator=(const ItcMessageSubscriptionIf&) = delete;

    // Starts to receive from the calling thread's mailbox, whose descriptor `fd` is (itc_get_fd()).
    // There is no way to stop but the end of the thread. Returns ALREADY_EXISTS when the
    // subscription has a descriptor, this or another; OS_ERROR when the event loop does not take
    // `fd`, after which the call may be repeated. Thread: owner.
    virtual ReturnCode monitorItcFd(int fd) = 0;

    // Has `handler` called for each message numbered `msgNo`. Returns ALREADY_EXISTS when the
    // number has a handler. An empty handler is taken, and throws std::bad_function_call when its
    // turn comes. Handlers may call this, for their own message number too once they have removed
    // themselves. Thread: owner.
    virtual ReturnCode addMsgHandler(unsigned int msgNo, const MsgHandler& handler) = 0;

    // Ends the registration of `msgNo`. Messages that are still queued become unhandled ones.
    // Returns NOT_FOUND when the number has no handler. A handler that removes itself during its
    // own call is destroyed when that call returns. Thread: owner.
    virtual ReturnCode removeMsgHandler(unsigned int msgNo) = 0;

    // Copies the handler of `msgNo` to `handler`. Returns NOT_FOUND, with `handler` untouched, when
    // there is none.
    // Thread: owner.
    virtual ReturnCode getMsgHandler(unsigned int msgNo, MsgHandler& handler) const = 0;

    virtual ~ItcMessageSubscriptionIf();

protected:
    ItcMessageSubscriptionIf() = default;
};

}  // namespace Quoria::ItcMessageSubscription::V1

#endif
