// itcMessageSubscriptionImpl.h: the message subscription of one thread.
//
// Private header of itcMessageSubscription.
//
// Made, used and destroyed by its owner thread alone; nothing is locked.
#ifndef QUORIA_ITCMESSAGESUBSCRIPTION_ITCMESSAGESUBSCRIPTIONIMPL_H
#define QUORIA_ITCMESSAGESUBSCRIPTION_ITCMESSAGESUBSCRIPTIONIMPL_H

#include <quoria/itcMessageSubscription/itcMessageSubscriptionIf.h>

#include <pthread.h>

#include <unordered_map>

namespace Quoria::ItcMessageSubscription::V1 {

class QUORIA_EXPORT ItcMessageSubscriptionImpl : public ItcMessageSubscriptionIf {
public:
    static ItcMessageSubscriptionImpl& getInstance();
    // Destroys the calling thread's instance, if there is one. Its handlers may do so.
    static void reset();

    ItcMessageSubscriptionImpl();
    ~ItcMessageSubscriptionImpl() override;

    ReturnCode monitorItcFd(int fd) override;
    ReturnCode addMsgHandler(unsigned int msgNo, const MsgHandler& handler) override;
    ReturnCode removeMsgHandler(unsigned int msgNo) override;
    ReturnCode getMsgHandler(unsigned int msgNo, MsgHandler& handler) const override;

    // Takes one message out of the thread's mailbox and gives it to its handler. The event loop
    // calls it as long as there are messages.
    void handleFdEvent();
    // Calls `handler`, which may destroy this instance.
    void dispatchMessage(const MsgHandler& handler, const std::shared_ptr<itc_msg>& msg);

private:
    bool isOwnerThread() const;

    pthread_t ownerThread_;
    int fd_;  // -1 until there is one
    std::unordered_map<unsigned int, MsgHandler> handlers_;
};

}  // namespace Quoria::ItcMessageSubscription::V1

#endif
