#include "itcMessageSubscriptionImpl.h"

#include <quoria/eventLoop/eventLoopIf.h>
#include <quoriaTest/fakeItc.h>
#include <quoriaTest/traceCapture.h>

#include <gmock/gmock.h>
#include <itc.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <stdexcept>
#include <vector>

namespace {

namespace FakeItc = QuoriaTest::FakeItc;

using Quoria::EventLoop::V1::EventLoopIf;
using Quoria::ItcMessageSubscription::V1::ItcMessageSubscriptionIf;
using Quoria::ItcMessageSubscription::V1::ItcMessageSubscriptionImpl;
using QuoriaTest::TraceCapture;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr unsigned int kMsgNo = 0x77;
constexpr unsigned int kClient = 0x21;
constexpr unsigned int kServer = 0x22;

class MessageDispatch : public testing::Test {
protected:
    MessageDispatch() {
        FakeItc::reset();
        FakeItc::setCurrentMailbox(kServer);
    }
    ~MessageDispatch() override { ItcMessageSubscriptionImpl::reset(); }

    // Notes the numbers of the messages that come for `msgNo`.
    void record(unsigned int msgNo) {
        subscription_.addMsgHandler(msgNo, [this](const std::shared_ptr<itc_msg>& msg) {
            received_.push_back(msg->msgno);
        });
    }

    ItcMessageSubscriptionImpl& subscription_ = ItcMessageSubscriptionImpl::getInstance();
    std::vector<unsigned int> received_;
};

TEST_F(MessageDispatch, AMessageGoesToTheHandlerOfItsNumber) {
    record(kMsgNo);
    record(kMsgNo + 1);
    FakeItc::queueMessage(kMsgNo + 1, kClient);

    subscription_.handleFdEvent();

    EXPECT_THAT(received_, ElementsAre(kMsgNo + 1));
}

TEST_F(MessageDispatch, MessagesStillGoToTheFirstHandlerAfterASecondWasRefused) {
    record(kMsgNo);
    subscription_.addMsgHandler(kMsgNo, [](const auto&) { FAIL() << "the refused handler"; });
    FakeItc::queueMessage(kMsgNo, kClient);

    subscription_.handleFdEvent();

    EXPECT_THAT(received_, ElementsAre(kMsgNo));
}

TEST_F(MessageDispatch, EachCallTakesExactlyOneMessage) {
    record(kMsgNo);
    record(kMsgNo + 1);
    FakeItc::queueMessage(kMsgNo, kClient);
    FakeItc::queueMessage(kMsgNo + 1, kClient);

    subscription_.handleFdEvent();
    EXPECT_THAT(received_, ElementsAre(kMsgNo));

    subscription_.handleFdEvent();
    EXPECT_THAT(received_, ElementsAre(kMsgNo, kMsgNo + 1));
}

TEST_F(MessageDispatch, AnyMessageOfAnySenderIsTakenWithoutWaiting) {
    subscription_.handleFdEvent();

    EXPECT_THAT(FakeItc::takeCalls(), ElementsAre("itc_receive(null, 0, 0xfff11111)"));
}

TEST_F(MessageDispatch, AnEmptyMailboxIsNothingToReport) {
    const TraceCapture trace;

    subscription_.handleFdEvent();

    EXPECT_THAT(trace.events(), IsEmpty());
}

TEST_F(MessageDispatch, AMessageIsFreedOnceItsHandlerHasReturned) {
    subscription_.addMsgHandler(
        kMsgNo, [](const auto&) { EXPECT_EQ(FakeItc::blocksInUse(), 1U) << "in the handler"; });
    FakeItc::queueMessage(kMsgNo, kClient);

    subscription_.handleFdEvent();

    EXPECT_EQ(FakeItc::blocksInUse(), 0U);
    EXPECT_EQ(FakeItc::blocksFreed(), 1U);
}

TEST_F(MessageDispatch, AMessageThatItsHandlerKeepsIsFreedOnceTheLastCopyGoes) {
    std::shared_ptr<itc_msg> kept;
    subscription_.addMsgHandler(kMsgNo, [&kept](const auto& msg) { kept = msg; });
    FakeItc::queueMessage(kMsgNo, kClient);

    subscription_.handleFdEvent();
    EXPECT_EQ(FakeItc::blocksFreed(), 0U);
    EXPECT_EQ(kept->msgno, kMsgNo);

    kept.reset();
    EXPECT_EQ(FakeItc::blocksFreed(), 1U);
}

TEST_F(MessageDispatch, AnExceptionLeavesTheCallAndTheMessageIsFreed) {
    subscription_.addMsgHandler(kMsgNo,
                                [](const auto&) { throw std::runtime_error("handler failed"); });
    FakeItc::queueMessage(kMsgNo, kClient);

    EXPECT_THROW(subscription_.handleFdEvent(), std::runtime_error);

    EXPECT_EQ(FakeItc::blocksFreed(), 1U);
}

TEST_F(MessageDispatch, AnEmptyHandlerThrowsWhenItsTurnComes) {
    EXPECT_EQ(subscription_.addMsgHandler(kMsgNo, nullptr), ItcMessageSubscriptionIf::OK);
    FakeItc::queueMessage(kMsgNo, kClient);

    EXPECT_THROW(subscription_.handleFdEvent(), std::bad_function_call);

    EXPECT_EQ(FakeItc::blocksFreed(), 1U);
}

TEST_F(MessageDispatch, DispatchMessageCallsTheHandlerItIsGiven) {
    const std::shared_ptr<itc_msg> none;

    subscription_.dispatchMessage([this](const auto&) { received_.push_back(kMsgNo); }, none);

    EXPECT_THAT(received_, ElementsAre(kMsgNo));
    EXPECT_THROW(subscription_.dispatchMessage(nullptr, none), std::bad_function_call);
}

TEST_F(MessageDispatch, AHandledMessageLeavesNoTrace) {
    record(kMsgNo);
    FakeItc::queueMessage(kMsgNo, kClient);
    const TraceCapture trace;

    subscription_.handleFdEvent();

    EXPECT_THAT(trace.events(), IsEmpty());
}

TEST_F(MessageDispatch, AnUnhandledMessageIsReportedWithBothMailboxes) {
    FakeItc::setName(kClient, "client");
    FakeItc::setName(kServer, "server");
    FakeItc::queueMessage(0x01707091, kClient);
    const TraceCapture trace;

    subscription_.handleFdEvent();

    EXPECT_THAT(
        trace.messages("ERROR"),
        ElementsAre("Unhandled ITC message 0x1707091 from 'client' received in mailbox 'server'"));
    EXPECT_EQ(trace.events().size(), 1U);
}

TEST_F(MessageDispatch, AMailboxWithoutANameIsReportedAsADash) {
    FakeItc::queueMessage(0xABCDEF, kClient);
    const TraceCapture trace;

    subscription_.handleFdEvent();

    EXPECT_THAT(trace.messages("ERROR"),
                ElementsAre("Unhandled ITC message 0xabcdef from '-' received in mailbox '-'"));
}

TEST_F(MessageDispatch, NamesAreLookedUpWithRoomForSixtyFourBytes) {
    FakeItc::queueMessage(kMsgNo, kClient);
    const TraceCapture trace;

    subscription_.handleFdEvent();

    EXPECT_THAT(FakeItc::takeCallsOf("itc_get_name"),
                testing::UnorderedElementsAre("itc_get_name(0x21, buffer, 64)",
                                              "itc_get_name(0x22, buffer, 64)"));
}

TEST_F(MessageDispatch, NoNameIsLookedUpWhileNobodyTraces) {
    FakeItc::queueMessage(kMsgNo, kClient);

    subscription_.handleFdEvent();

    EXPECT_THAT(FakeItc::takeCalls(),
                ElementsAre("itc_receive(null, 0, 0xfff11111)", "itc_free(0x77)"));
}

TEST_F(MessageDispatch, AnUnhandledMessageIsFreedAndTheNextOneIsHandled) {
    record(kMsgNo);
    FakeItc::queueMessage(kMsgNo + 1, kClient);
    FakeItc::queueMessage(kMsgNo, kClient);

    subscription_.handleFdEvent();
    EXPECT_EQ(FakeItc::blocksFreed(), 1U);

    subscription_.handleFdEvent();
    EXPECT_THAT(received_, ElementsAre(kMsgNo));
}

TEST_F(MessageDispatch, AMessageWhoseHandlerWasRemovedIsUnhandled) {
    record(kMsgNo);
    subscription_.removeMsgHandler(kMsgNo);
    FakeItc::queueMessage(kMsgNo, kClient);
    const TraceCapture trace;

    subscription_.handleFdEvent();

    EXPECT_THAT(received_, IsEmpty());
    EXPECT_EQ(trace.messages("ERROR").size(), 1U);
}

TEST_F(MessageDispatch, ADescriptorThatCanOnlyBeWrittenTakesNoMessage) {
    const int writable = eventfd(0, EFD_CLOEXEC);
    const int readable = eventfd(1, EFD_CLOEXEC);
    int rounds = 0;
    subscription_.monitorItcFd(writable);
    const auto stopAfterTwoRounds = [&rounds](int, unsigned int) {
        if (++rounds == 2) {
            EventLoopIf::getInstance()->stop();
        }
    };
    EventLoopIf::getInstance()->addFdHandler(readable, EventLoopIf::EVENT_IN, stopAfterTwoRounds);

    EXPECT_EQ(EventLoopIf::getInstance()->run(), EventLoopIf::OK);

    EXPECT_THAT(FakeItc::takeCallsOf("itc_receive"), IsEmpty());
    EventLoopIf::getInstance()->removeFdHandler(readable);
    ItcMessageSubscriptionImpl::reset();
    close(readable);
    close(writable);
}

TEST_F(MessageDispatch, TheEventLoopTakesAMessageEachTimeItFindsTheDescriptorReadable) {
    const int readable = eventfd(1, EFD_CLOEXEC);
    record(kMsgNo);
    subscription_.addMsgHandler(kMsgNo + 1,
                                [](const auto&) { EventLoopIf::getInstance()->stop(); });
    FakeItc::queueMessage(kMsgNo, kClient);
    FakeItc::queueMessage(kMsgNo, kClient);
    FakeItc::queueMessage(kMsgNo + 1, kClient);
    subscription_.monitorItcFd(readable);

    EXPECT_EQ(EventLoopIf::getInstance()->run(), EventLoopIf::OK);

    EXPECT_THAT(received_, ElementsAre(kMsgNo, kMsgNo));
    ItcMessageSubscriptionImpl::reset();
    close(readable);
}

}  // namespace
