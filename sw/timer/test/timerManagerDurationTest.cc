// Durations at and beyond the ends of what a clock can express.

#include <quoria/timer/timerManagerIf.h>

#include <gtest/gtest.h>

#include "timerFixture.h"

namespace {

using namespace std::chrono_literals;

class TimerManagerDuration : public TimerFixture {
protected:
    // The first that is more nanoseconds than the clock can count, and the last that is not.
    static constexpr milliseconds kTooLong{9'223'372'036'855};
    static constexpr milliseconds kLongest{9'223'372'036'854};
    static constexpr nanoseconds kEndOfTime = nanoseconds::max();
};

TEST_F(TimerManagerDuration, AZeroTimeoutExpiresInTheNextIteration) {
    start(0ms, a, 1);
    EXPECT_EQ(os->lastArmedFor(), kStart);
    iterate();
    EXPECT_EQ(log, Log{"a1"});
}

TEST_F(TimerManagerDuration, ANegativeTimeoutExpiresInTheNextIteration) {
    start(-7ms, a, 1);
    EXPECT_EQ(os->lastArmedFor(), kStart - 7ms);
    iterate();
    EXPECT_EQ(log, Log{"a1"});
}

TEST_F(TimerManagerDuration, TheMoreNegativeTimeoutIsTheEarlierOne) {
    start(0ms, a, 1);
    start(-1ms, a, 2);
    start(-2ms, a, 3);
    pass(0ms);
    EXPECT_EQ(log, (Log{"a3", "a2", "a1"}));
}

TEST_F(TimerManagerDuration, AZeroTimeoutAtTheStartOfTheClockDoesNotDisarm) {
    setClock(0ns);
    start(0ms, a, 1);
    EXPECT_EQ(os->lastArmedFor(), 1ns);
    pass(1ns);
    EXPECT_EQ(log, Log{"a1"});
}

TEST_F(TimerManagerDuration, ATimeBeforeTheStartOfTheClockIsArmedForAsTheFirstTimeAfterIt) {
    setClock(5ms);
    start(-5ms, a, 1);
    start(-6ms, a, 2);
    EXPECT_EQ(os->lastArmedFor(), 1ns);
    pass(0ms);
    EXPECT_EQ(log, (Log{"a2", "a1"}));
}

TEST_F(TimerManagerDuration, TheMostNegativeTimeoutExpiresInTheNextIteration) {
    start(-1h, a, 1);
    start(milliseconds::min(), a, 2);
    EXPECT_EQ(os->lastArmedFor(), 1ns);
    iterate();
    EXPECT_EQ(log, Log{"a2"});
}

TEST_F(TimerManagerDuration, TheLongestTimeoutIsArmedForTheEndOfTime) {
    start(milliseconds::max(), a, 1);
    EXPECT_EQ(os->lastArmedFor(), kEndOfTime);
    pass(24h * 36500);
    EXPECT_TRUE(log.empty());
}

TEST_F(TimerManagerDuration, ATimeoutOfTooManyNanosecondsIsArmedForTheEndOfTime) {
    start(kTooLong, a, 1);
    EXPECT_EQ(os->lastArmedFor(), kEndOfTime);
}

TEST_F(TimerManagerDuration, ATimeoutWhoseEndIsTooFarIsArmedForTheEndOfTime) {
    start(kLongest, a, 1);
    EXPECT_EQ(os->lastArmedFor(), kEndOfTime);
    start(kLongest - 1'000s, a, 2);
    EXPECT_EQ(os->lastArmedFor(), kStart + (kLongest - 1'000s));
}

TEST_F(TimerManagerDuration, TimersAtTheEndOfTimeKeepTheOrderInWhichTheyWereStarted) {
    start(milliseconds::max(), a, 1);
    startPeriodical(kTooLong, a, 2);
    start(milliseconds::max() - 1ms, a, 3);
    setClock(kEndOfTime);
    iterate();
    iterate();
    iterate();
    EXPECT_EQ(log, (Log{"a1", "a2", "a3"}));
}

TEST_F(TimerManagerDuration, ATimerAtTheEndOfTimeIsCancelledLikeAnyOther) {
    start(milliseconds::max(), a, 1);
    EXPECT_EQ(manager.cancelTimer(&a, 1), TimerManagerIf::OK);
    EXPECT_EQ(os->lastArmedFor(), std::nullopt);
}

TEST_F(TimerManagerDuration, TheLongestPeriodIsArmedForTheEndOfTimeAgainAndAgain) {
    startPeriodical(milliseconds::max(), a, 1);
    EXPECT_EQ(os->lastArmedFor(), kEndOfTime);
    os->ring();
    iterate();
    EXPECT_EQ(log, Log{"a1"});
    EXPECT_EQ(os->lastArmedFor(), kEndOfTime);
    EXPECT_FALSE(os->readable());
}

TEST_F(TimerManagerDuration, APeriodOfZeroExpiresInEveryIterationAndLeavesOthersTheirTurn) {
    startPeriodical(0ms, a, 1);
    start(0ms, b, 1);
    iterate();
    iterate();
    iterate();
    EXPECT_EQ(log, (Log{"a1", "b1", "a1"}));
}

TEST_F(TimerManagerDuration, ANegativePeriodExpiresInEveryIteration) {
    startPeriodical(-1ms, a, 1);
    iterate();
    EXPECT_EQ(os->lastArmedFor(), kStart - 1ms);
    iterate();
    EXPECT_EQ(log, (Log{"a1", "a1"}));
}

TEST_F(TimerManagerDuration, TheMostNegativePeriodExpiresInEveryIteration) {
    startPeriodical(milliseconds::min(), a, 1);
    iterate();
    EXPECT_EQ(os->lastArmedFor(), 1ns);
    iterate();
    EXPECT_EQ(log, (Log{"a1", "a1"}));
}

}  // namespace
