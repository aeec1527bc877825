#include "itcMessageSubscriptionImpl.h"

#include "runningHandler.h"

#include <quoria/eventLoop/eventLoopIf.h>
#include <quoria/itc/itcOperations.h>
#include <quoria/threadLocal/threadLocalLinux.h>
#include <quoria/trace/trace.h>

#include <string>

namespace Quoria::ItcMessageSubscription::V1 {

namespace {

using EventLoop::V1::EventLoopIf;
using ThreadInstance = ThreadLocal::V1::detail::ThreadLocalLinux<ItcMessageSubscriptionImpl, 1>;

std::string nameOf(std::uint32_t mailbox) {
    char name[64];
    return Itc::getName(mailbox, name, sizeof name) ? name : "-";
}

}  // namespace

ItcMessageSubscriptionImpl& ItcMessageSubscriptionImpl::getInstance() {
    return *ThreadInstance::getInstance();
}

void ItcMessageSubscriptionImpl::reset() {
    ThreadInstance::resetInstance();
}

ItcMessageSubscriptionImpl::ItcMessageSubscriptionImpl() : ownerThread_(pthread_self()), fd_(-1) {}

ItcMessageSubscriptionImpl::~ItcMessageSubscriptionImpl() {
    if (fd_ != -1) {
        // At the end of a thread its event loop may be gone already, and the handler with it.
        static_cast<void>(EventLoopIf::getInstance()->removeFdHandler(fd_));
    }
    while (!handlers_.empty()) {
        RunningHandler::keep(handlers_.extract(handlers_.begin()));
    }
}

ItcMessageSubscriptionIf::ReturnCode ItcMessageSubscriptionImpl::monitorItcFd(int fd) {
    if (!isOwnerThread()) {
        return WRONG_THREAD;
    }
    if (fd_ != -1) {
        return ALREADY_EXISTS;
    }
    const auto onReadable = [this](int, unsigned int) { handleFdEvent(); };
    if (EventLoopIf::getInstance()->addFdHandler(fd, EventLoopIf::EVENT_IN, onReadable) !=
        EventLoopIf::OK) {
        return OS_ERROR;
    }
    fd_ = fd;
    return OK;
}

ItcMessageSubscriptionIf::ReturnCode ItcMessageSubscriptionImpl::addMsgHandler(
    unsigned int msgNo, const MsgHandler& handler) {
    if (!isOwnerThread()) {
        return WRONG_THREAD;
    }
    const bool isNew = handlers_.try_emplace(msgNo, handler).second;
    return isNew ? OK : ALREADY_EXISTS;
}

ItcMessageSubscriptionIf::ReturnCode ItcMessageSubscriptionImpl::removeMsgHandler(
    unsigned int msgNo) {
    if (!isOwnerThread()) {
        return WRONG_THREAD;
    }
    const auto entry = handlers_.find(msgNo);
    if (entry == handlers_.end()) {
        return NOT_FOUND;
    }
    RunningHandler::keep(handlers_.extract(entry));
    return OK;
}

ItcMessageSubscriptionIf::ReturnCode ItcMessageSubscriptionImpl::getMsgHandler(
    unsigned int msgNo, MsgHandler& handler) const {
    if (!isOwnerThread()) {
        return WRONG_THREAD;
    }
    const auto entry = handlers_.find(msgNo);
    if (entry == handlers_.end()) {
        return NOT_FOUND;
    }
    handler = entry->second;
    return OK;
}

void ItcMessageSubscriptionImpl::handleFdEvent() {
    itc_msg* received = Itc::receive(nullptr, Itc::kItcNoWait);
    if (received == nullptr) {
        return;
    }
    const std::shared_ptr<itc_msg> msg = Itc::wrap(received);
    const auto entry = handlers_.find(msg->msgno);
    if (entry != handlers_.end()) {
        dispatchMessage(entry->second, msg);
        return;
    }
    QTRACE_ERROR("Unhandled ITC message 0x"
                 << std::hex << msg->msgno << " from '" << nameOf(Itc::sender(msg.get()))
                 << "' received in mailbox '" << nameOf(Itc::currentMailbox()) << "'");
}

void ItcMessageSubscriptionImpl::dispatchMessage(const MsgHandler& handler,
                                                 const std::shared_ptr<itc_msg>& msg) {
    const RunningHandler running(handler);
    handler(msg);
}

bool ItcMessageSubscriptionImpl::isOwnerThread() const {
    return pthread_equal(pthread_self(), ownerThread_) != 0;
}

}  // namespace Quoria::ItcMessageSubscription::V1
