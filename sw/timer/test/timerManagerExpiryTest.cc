#include <quoria/timer/timerManagerIf.h>

#include <gtest/gtest.h>
#include <quoriaTest/traceCapture.h>

#include "timerFixture.h"

namespace {

using namespace std::chrono_literals;
using QuoriaTest::TraceCapture;

class TimerManagerExpiry : public TimerFixture {};

TEST_F(TimerManagerExpiry, ATimerExpiresAtItsTimeAndNotBefore) {
    start(5ms, a, 1);
    pass(5ms - 1ns);
    EXPECT_TRUE(log.empty());
    pass(1ns);
    EXPECT_EQ(log, Log{"a1"});
}

TEST_F(TimerManagerExpiry, AOneShotTimerExpiresOnce) {
    start(5ms, a, 1);
    pass(5ms);
    pass(1h);
    EXPECT_EQ(log, Log{"a1"});
}

TEST_F(TimerManagerExpiry, TimersExpireInTheOrderOfTheirTimes) {
    start(3ms, a, 3);
    start(1ms, a, 1);
    start(2ms, b, 2);
    pass(3ms);
    EXPECT_EQ(log, (Log{"a1", "b2", "a3"}));
}

TEST_F(TimerManagerExpiry, TimersOfTheSameTimeExpireInTheOrderInWhichTheyWereStarted) {
    start(5ms, a, 3);
    start(5ms, b, 1);
    moveClock(2ms);
    start(9ms, a, 9);
    start(3ms, a, 2);
    startPeriodical(3ms, b, 0);
    pass(3ms);
    EXPECT_EQ(log, (Log{"a3", "b1", "a2", "b0"}));
}

TEST_F(TimerManagerExpiry, TwoTimersDueAtOnceTakeTwoIterations) {
    start(1ms, a, 1);
    start(2ms, b, 1);
    moveClock(2ms);
    iterate();
    EXPECT_EQ(log, Log{"a1"});
    iterate();
    EXPECT_EQ(log, (Log{"a1", "b1"}));
    EXPECT_FALSE(os->readable());
}

TEST_F(TimerManagerExpiry, TheDescriptorIsSetForTheNextTimerBeforeTheReceiverIsCalled) {
    start(1ms, a, 1);
    start(4ms, a, 2);
    a.onTimeout = [this] { EXPECT_EQ(os->lastArmedFor(), kStart + 4ms); };
    moveClock(1ms);
    iterate();
    EXPECT_EQ(log, Log{"a1"});
}

TEST_F(TimerManagerExpiry, TheDescriptorIsSetForATimeInThePastIfTheNextTimerIsDue) {
    start(1ms, a, 1);
    start(2ms, a, 2);
    moveClock(9ms);
    iterate();
    EXPECT_EQ(os->lastArmedFor(), kStart + 2ms);
    EXPECT_TRUE(os->readable());
}

TEST_F(TimerManagerExpiry, TheDescriptorIsDisarmedWhenTheLastTimerHasExpired) {
    start(1ms, a, 1);
    pass(1ms);
    EXPECT_EQ(os->lastArmedFor(), std::nullopt);
    EXPECT_EQ(os->settimeCalls.back().flags, TFD_TIMER_ABSTIME);
}

TEST_F(TimerManagerExpiry, TheEarliestTimerIsDeliveredWheneverTheDescriptorIsReadable) {
    start(5ms, a, 1);
    start(6ms, a, 2);
    os->ring();
    iterate();
    EXPECT_EQ(log, Log{"a1"});
}

TEST_F(TimerManagerExpiry, AOneShotTimerMayBeStartedAgainAfterItsExpiry) {
    start(1ms, a, 1);
    pass(1ms);
    start(2ms, a, 1);
    pass(2ms);
    EXPECT_EQ(log, (Log{"a1", "a1"}));
}

TEST_F(TimerManagerExpiry, APeriodicTimerExpiresOncePerPeriod) {
    startPeriodical(5ms, a, 1);
    pass(5ms - 1ns);
    EXPECT_TRUE(log.empty());
    pass(1ns);
    EXPECT_EQ(log.size(), 1U);
    pass(5ms - 1ns);
    EXPECT_EQ(log.size(), 1U);
    pass(1ns);
    EXPECT_EQ(log.size(), 2U);
}

TEST_F(TimerManagerExpiry, APeriodBeginsAtTheHandlingOfTheExpiryBeforeSoThatLatenessAddsUp) {
    startPeriodical(5ms, a, 1);
    moveClock(5ms + 3ms);
    iterate();
    EXPECT_EQ(os->lastArmedFor(), kStart + 8ms + 5ms);
    moveClock(5ms + 1ms);
    iterate();
    EXPECT_EQ(os->lastArmedFor(), kStart + 14ms + 5ms);
}

TEST_F(TimerManagerExpiry, MissedPeriodsAreNotMadeUpFor) {
    startPeriodical(5ms, a, 1);
    pass(1h);
    EXPECT_EQ(log, Log{"a1"});
}

TEST_F(TimerManagerExpiry, APeriodicTimerComesAfterThoseThatWereStartedForTheSameTimeBefore) {
    startPeriodical(5ms, a, 1);
    start(10ms, b, 1);
    pass(5ms);
    start(5ms, b, 2);
    pass(5ms);
    EXPECT_EQ(log, (Log{"a1", "b1", "a1", "b2"}));
}

TEST_F(TimerManagerExpiry, PeriodicAndOneShotTimersOfOneReceiverKeepTheirKinds) {
    startPeriodical(2ms, a, 1);
    start(3ms, a, 2);
    pass(2ms);
    pass(1ms);
    pass(1ms);
    pass(2ms);
    EXPECT_EQ(log, (Log{"a1", "a2", "a1", "a1"}));
}

TEST_F(TimerManagerExpiry, AnEventWithoutAPendingTimerIsTraced) {
    const TraceCapture trace;
    start(1ms, a, 1);
    pass(1ms);
    os->ring();
    iterate();
    EXPECT_EQ(trace.events().size(), 1U);
    EXPECT_EQ(
        trace.count("ERROR", "Received file descriptor event, but no expired timer was found"), 1U);
    EXPECT_EQ(log, Log{"a1"});
}

}  // namespace
