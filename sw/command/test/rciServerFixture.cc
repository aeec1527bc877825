#include <quoriaTest/rciServerFixture.h>

#include <quoria/itcMessageSubscription/itcMessageSubscriptionIf.h>

#include <itc.h>

namespace QuoriaTest {

using Quoria::ItcMessageSubscription::V1::ItcMessageSubscriptionIf;
using Quoria::ItcMessageSubscription::V1::MsgHandler;

RciServerFixture::RciServerFixture() : server_(RciServer::getThreadLocalInstance()) {}

void RciServerFixture::registerCommand(const std::string& name) {
    server_->registerCommandInvoker(name, [this](const Job& job) { jobs_.push_back(job); });
}

void RciServerFixture::connect(const std::string& name, std::uint32_t clientConnectionRef) {
    dispatch(Bytes()
                 .word(0x017070A0)
                 .word(5)
                 .word(clientConnectionRef)
                 .word(1)
                 .word(1)
                 .word(static_cast<std::uint32_t>(name.size()))
                 .text(name + "spar"));
}

void RciServerFixture::execute(std::uint32_t connectionRef, const std::vector<std::string>& args) {
    Bytes content;
    content.word(0x017070A3).word(8).word(connectionRef);
    content.word(static_cast<std::uint32_t>(args.size()));
    for (const std::string& arg : args) {
        content.text(arg + '\0');
    }
    dispatch(content.text("spar"));
}

void RciServerFixture::disconnect(std::uint32_t connectionRef) {
    dispatch(Bytes().word(0x017070A7).word(9).word(connectionRef));
}

void RciServerFixture::dispatch(const Bytes& content, std::uint32_t sender) {
    const auto msg = ScriptedItc::makeReceived(content, sender);
    MsgHandler handler;
    ASSERT_EQ(ItcMessageSubscriptionIf::getInstance().getMsgHandler(msg->msgno, handler),
              ItcMessageSubscriptionIf::OK);
    handler(msg);
}

std::vector<std::string> RciServerFixture::messagesSince(std::size_t count) const {
    std::vector<std::string> messages;
    const std::vector<CapturedEvent> events = trace_.events();
    for (std::size_t index = count; index < events.size(); ++index) {
        messages.push_back(events[index].msg);
    }
    return messages;
}

std::vector<std::uint32_t> RciServerFixture::sentNumbers() {
    std::vector<std::uint32_t> numbers;
    for (const SentMessage& message : ScriptedItc::sent()) {
        numbers.push_back(message.msgno);
    }
    return numbers;
}

}  // namespace QuoriaTest
