#include "locatorFixture.h"

#include <quoriaTest/traceCapture.h>

#include <functional>
#include <stdexcept>

namespace {

namespace FakeItc = QuoriaTest::FakeItc;
namespace LocateBlocks = QuoriaTest::LocateBlocks;

using QuoriaTest::kFound;
using QuoriaTest::kOtherFound;
using QuoriaTest::TraceCapture;
using testing::ElementsAre;
using testing::IsEmpty;

class LocatorAnswer : public QuoriaTest::LocatorFixture {};

TEST_F(LocatorAnswer, ARequestIsAnsweredWithTheMailboxThatTheIndicationComesFrom) {
    locate("server");

    indicate(1, kFound);

    EXPECT_THAT(answers_, ElementsAre(Answer("server", kFound)));
}

TEST_F(LocatorAnswer, NothingIsTracedForARequestThatIsAnswered) {
    const TraceCapture trace;

    locate("server");
    indicate(1, kFound);

    EXPECT_THAT(trace.events(), IsEmpty());
}

TEST_F(LocatorAnswer, TheIndicationIsFreedAfterTheAnswer) {
    locate("server");

    indicate(1, kFound);

    EXPECT_EQ(FakeItc::blocksInUse(), 0U);
    EXPECT_EQ(FakeItc::blocksFreed(), 1U);
}

TEST_F(LocatorAnswer, EachOfTwoRequestsForOneNameIsAnsweredOnce) {
    locate("server");
    locate("server");

    indicate(1, kFound);
    indicate(2, kFound);

    EXPECT_THAT(answers_, ElementsAre(Answer("server", kFound), Answer("server", kFound)));
}

TEST_F(LocatorAnswer, RequestsAreToldApartByTheirIdentitiesInWhateverOrderTheyAreAnswered) {
    locate("first");
    locate("second");

    indicate(2, kOtherFound);
    indicate(1, kFound);

    EXPECT_THAT(answers_, ElementsAre(Answer("second", kOtherFound), Answer("first", kFound)));
}

TEST_F(LocatorAnswer, ASecondIndicationForARequestIsUnexpected) {
    locate("server");
    indicate(1, kFound);
    const TraceCapture trace;

    indicate(1, kFound);

    EXPECT_THAT(trace.messages("ERROR"),
                ElementsAre("Received locate indication with unexpected identity: 1"));
    EXPECT_EQ(trace.events().size(), 1U);
    EXPECT_EQ(answers_.size(), 1U);
}

TEST_F(LocatorAnswer, IdentityZeroIsUnexpectedBeforeAnyWrapAround) {
    locate("server");
    const TraceCapture trace;

    indicate(0, kFound);

    EXPECT_THAT(trace.messages("ERROR"),
                ElementsAre("Received locate indication with unexpected identity: 0"));
    EXPECT_THAT(answers_, IsEmpty());
}

TEST_F(LocatorAnswer, AnUnexpectedIdentityIsReportedInDecimalAndWithoutASign) {
    locator();
    const TraceCapture trace;

    indicate(0xFFFFFFFF, kFound);

    EXPECT_THAT(trace.messages("ERROR"),
                ElementsAre("Received locate indication with unexpected identity: 4294967295"));
}

TEST_F(LocatorAnswer, AnUnexpectedIndicationIsFreedAndDoesNotAskForItsSender) {
    locator();
    FakeItc::takeCalls();

    indicate(7, kFound);

    EXPECT_THAT(FakeItc::takeCalls(),
                ElementsAre("itc_receive(null, 0, 0xfff11111)", "itc_free(0x1707090)"));
}

TEST_F(LocatorAnswer, AnIndicationTooShortForAnIdentityIsReportedAndAnswersNothing) {
    locate("server");
    const TraceCapture trace;

    indicate(1, kFound, 4);
    indicate(1, kFound, 7);

    const std::string text = "Ignoring malformed locate indication from mailbox: 0x11";
    EXPECT_THAT(trace.messages("ERROR"), ElementsAre(text, text));
    EXPECT_THAT(answers_, IsEmpty());
    EXPECT_EQ(FakeItc::blocksInUse(), 0U);
}

TEST_F(LocatorAnswer, AnIndicationMayBeLongerThanNeeded) {
    locate("server");

    indicate(1, kFound, 12);

    EXPECT_THAT(answers_, ElementsAre(Answer("server", kFound)));
}

TEST_F(LocatorAnswer, ACallbackMayLocateTheSameNameAgain) {
    locator().locate("server", [this](unsigned int) { locate("server"); });
    indicate(1, kFound);
    EXPECT_THAT(answers_, IsEmpty());

    indicate(2, kOtherFound);

    EXPECT_THAT(answers_, ElementsAre(Answer("server", kOtherFound)));
}

TEST_F(LocatorAnswer, ACallbackMayMakeManyRequests) {
    locator().locate("server", [this](unsigned int) {
        for (int i = 0; i < 1000; ++i) {
            locate("server");
        }
    });

    indicate(1, kFound);

    EXPECT_EQ(LocateBlocks::takeIdentities().size(), 1001U);
}

TEST_F(LocatorAnswer, ARequestIsOverBeforeItsCallbackRuns) {
    const TraceCapture trace;
    locator().locate("server", [](unsigned int) { indicate(1, kFound); });

    indicate(1, kFound);

    EXPECT_THAT(trace.messages("ERROR"),
                ElementsAre("Received locate indication with unexpected identity: 1"));
}

TEST_F(LocatorAnswer, AnEmptyCallbackThrowsWhenItsTurnComes) {
    locator().locate("server", nullptr);
    locate("server");

    EXPECT_THROW(indicate(1, kFound), std::bad_function_call);

    EXPECT_EQ(FakeItc::blocksInUse(), 0U);
    indicate(2, kFound);
    EXPECT_THAT(answers_, ElementsAre(Answer("server", kFound)));
}

TEST_F(LocatorAnswer, WhatACallbackThrowsPassesThroughAndTheRequestIsOver) {
    locator().locate("server", [](unsigned int) { throw std::runtime_error("not today"); });
    const TraceCapture trace;

    EXPECT_THROW(indicate(1, kFound), std::runtime_error);
    indicate(1, kFound);

    EXPECT_EQ(trace.messages("ERROR").size(), 1U);
    EXPECT_EQ(FakeItc::blocksInUse(), 0U);
}

}  // namespace
