#include "itcMessageSubscriptionImpl.h"

#include <quoria/eventLoop/eventLoopIf.h>
#include <quoria/itc/itcOperations.h>
#include <quoriaTest/traceCapture.h>

#include <gmock/gmock.h>

#include <future>
#include <thread>
#include <vector>

namespace {

namespace Itc = Quoria::Itc;

using Quoria::EventLoop::V1::EventLoopIf;
using Quoria::ItcMessageSubscription::V1::ItcMessageSubscriptionIf;
using Quoria::ItcMessageSubscription::V1::ItcMessageSubscriptionImpl;
using QuoriaTest::TraceCapture;
using testing::ElementsAre;

constexpr unsigned int kNumberMsgNo = 0x1000;
constexpr unsigned int kStopMsgNo = 0x1001;
constexpr unsigned int kUnknownMsgNo = 0x1002;

struct NumberMsg {
    std::uint32_t msgno;
    std::uint32_t number;
};

void sendNumber(std::uint32_t receiver, std::uint32_t number) {
    itc_msg* msg = Itc::alloc(sizeof(NumberMsg), kNumberMsgNo);
    reinterpret_cast<NumberMsg*>(msg)->number = number;
    Itc::send(&msg, receiver, Itc::kItcOwnMailbox);
}

void sendSignal(std::uint32_t receiver, unsigned int msgNo) {
    itc_msg* msg = Itc::alloc(4, msgNo);
    Itc::send(&msg, receiver, Itc::kItcOwnMailbox);
}

// The test's thread receives in mailbox "server" until somebody sends it kStopMsgNo.
class MailboxContract : public testing::Test {
protected:
    MailboxContract() : mailbox_(Itc::createMailbox("server")) {
        subscription_.addMsgHandler(kStopMsgNo,
                                    [](const auto&) { EventLoopIf::getInstance()->stop(); });
        EXPECT_EQ(subscription_.monitorItcFd(Itc::getFd()), ItcMessageSubscriptionIf::OK);
    }
    ~MailboxContract() override {
        ItcMessageSubscriptionImpl::reset();
        Itc::deleteMailbox(mailbox_);
    }

    // Runs the loop while `client` runs on a thread with a mailbox "client".
    template <typename Client>
    void runWith(const Client& client) {
        std::thread thread([this, &client] {
            const std::uint32_t own = Itc::createMailbox("client");
            client();
            sendSignal(mailbox_, kStopMsgNo);
            Itc::deleteMailbox(own);
        });
        EXPECT_EQ(EventLoopIf::getInstance()->run(), EventLoopIf::OK);
        thread.join();
    }

    const std::uint32_t mailbox_;
    ItcMessageSubscriptionIf& subscription_ = ItcMessageSubscriptionIf::getInstance();
};

TEST_F(MailboxContract, MessagesOfAnotherThreadArriveInOrderOnTheReceiversThread) {
    std::vector<std::uint32_t> numbers;
    const std::thread::id receiver = std::this_thread::get_id();
    subscription_.addMsgHandler(kNumberMsgNo, [&numbers, receiver](const auto& msg) {
        numbers.push_back(reinterpret_cast<const NumberMsg*>(msg.get())->number);
        EXPECT_EQ(std::this_thread::get_id(), receiver);
    });

    runWith([this] {
        for (std::uint32_t number = 0; number < 100; ++number) {
            sendNumber(mailbox_, number);
        }
    });

    ASSERT_EQ(numbers.size(), 100U);
    for (std::uint32_t number = 0; number < 100; ++number) {
        EXPECT_EQ(numbers[number], number);
    }
}

TEST_F(MailboxContract, MessagesThatWereQueuedBeforeTheLoopRunsArriveToo) {
    std::vector<std::uint32_t> numbers;
    subscription_.addMsgHandler(kNumberMsgNo, [&numbers](const auto& msg) {
        numbers.push_back(reinterpret_cast<const NumberMsg*>(msg.get())->number);
    });
    sendNumber(mailbox_, 1);
    sendNumber(mailbox_, 2);
    sendSignal(mailbox_, kStopMsgNo);

    EventLoopIf::getInstance()->run();

    EXPECT_THAT(numbers, ElementsAre(1U, 2U));
}

TEST_F(MailboxContract, AHandlerMayAnswerAndKeepTheMessage) {
    std::shared_ptr<itc_msg> kept;
    subscription_.addMsgHandler(kNumberMsgNo, [&kept](const auto& msg) {
        kept = msg;
        sendNumber(Itc::sender(msg.get()), 43);
    });
    std::uint32_t answer = 0;

    runWith([this, &answer] {
        sendNumber(mailbox_, 42);
        const auto received = Itc::wrap(Itc::receive(nullptr, Itc::kItcWaitForever));
        answer = reinterpret_cast<const NumberMsg*>(received.get())->number;
    });

    EXPECT_EQ(answer, 43U);
    EXPECT_EQ(reinterpret_cast<const NumberMsg*>(kept.get())->number, 42U);
}

TEST_F(MailboxContract, AnUnhandledMessageIsReportedByNameAndTheNextIsHandled) {
    const TraceCapture trace({"ERROR"});
    std::promise<void> mayGo;
    subscription_.addMsgHandler(kNumberMsgNo, [&mayGo](const auto&) { mayGo.set_value(); });

    runWith([this, &mayGo] {
        sendSignal(mailbox_, kUnknownMsgNo);
        sendNumber(mailbox_, 1);
        mayGo.get_future().wait();  // keeps the name "client" until it has been looked up
    });

    EXPECT_THAT(
        trace.messages("ERROR"),
        ElementsAre("Unhandled ITC message 0x1002 from 'client' received in mailbox 'server'"));
}

TEST_F(MailboxContract, AReadableDescriptorWithAnEmptyMailboxIsHarmless) {
    auto& subscription = ItcMessageSubscriptionImpl::getInstance();
    sendNumber(mailbox_, 1);
    Itc::wrap(Itc::receive(nullptr, Itc::kItcNoWait));
    const TraceCapture trace;

    subscription.handleFdEvent();

    EXPECT_THAT(trace.events(), testing::IsEmpty());
}

TEST_F(MailboxContract, AfterAResetTheMailboxIsLeftAsItIs) {
    ItcMessageSubscriptionImpl::reset();

    EXPECT_EQ(Itc::currentMailbox(), mailbox_);
    sendNumber(mailbox_, 1);
    EXPECT_NE(Itc::wrap(Itc::receive(nullptr, Itc::kItcNoWait)), nullptr);
}

}  // namespace
