#include "ownMailbox.h"

#include "walk.h"

#include <quoria/eventLoop/eventLoopIf.h>
#include <quoria/itc/itcOperations.h>
#include <quoria/itcMessageSubscription/itcMessageSubscriptionIf.h>

#include <cstring>
#include <sstream>

namespace TraceWalk {

namespace Itc = Quoria::Itc;
using Quoria::EventLoop::V1::EventLoopIf;
using Quoria::ItcMessageSubscription::V1::ItcMessageSubscriptionIf;

OwnMailbox::OwnMailbox(const char* name) : id_(Itc::createMailbox(name)) {
    require(id_ != Itc::kItcNoMailbox, "no mailbox");
    ItcMessageSubscriptionIf& subscription = ItcMessageSubscriptionIf::getInstance();
    require(subscription.monitorItcFd(Itc::getFd()) == ItcMessageSubscriptionIf::OK,
            "the mailbox can't be monitored");
    subscription.addMsgHandler(kStopMsgNo, [](const auto&) { EventLoopIf::getInstance()->stop(); });
}

std::string OwnMailbox::idInHex() const {
    std::ostringstream text;
    text << std::hex << id_;
    return text.str();
}

void OwnMailbox::handle(const std::vector<std::uint32_t>& words, const std::string& bytes) {
    send(id_, words, bytes);
    send(id_, {kStopMsgNo});
    handleUntilStopped();
}

void OwnMailbox::handleUntilStopped() {
    require(EventLoopIf::getInstance()->run() == EventLoopIf::OK, "the loop has failed");
}

void send(std::uint32_t receiver, const std::vector<std::uint32_t>& words,
          const std::string& bytes) {
    const std::size_t wordBytes = words.size() * sizeof(std::uint32_t);
    itc_msg* msg = Itc::alloc(wordBytes + bytes.size(), words.front());
    require(msg != nullptr, "no message");
    char* const content = reinterpret_cast<char*>(msg);
    std::memcpy(content, words.data(), wordBytes);
    std::memcpy(content + wordBytes, bytes.data(), bytes.size());
    Itc::send(&msg, receiver, Itc::kItcOwnMailbox);
}

}  // namespace TraceWalk
