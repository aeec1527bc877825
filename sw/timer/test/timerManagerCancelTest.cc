#include <quoria/timer/timerManagerIf.h>

#include <gtest/gtest.h>
#include <sys/timerfd.h>

#include "timerFixture.h"

namespace {

using namespace std::chrono_literals;

class TimerManagerCancel : public TimerFixture {};

TEST_F(TimerManagerCancel, ACancelledTimerDoesNotExpire) {
    start(5ms, a, 1);
    start(6ms, b, 1);
    EXPECT_EQ(manager.cancelTimer(&a, 1), TimerManagerIf::OK);
    pass(1h);
    EXPECT_EQ(log, Log{"b1"});
}

TEST_F(TimerManagerCancel, ACancelledPeriodicTimerDoesNotExpireAnyMore) {
    startPeriodical(5ms, a, 1);
    pass(5ms);
    EXPECT_EQ(manager.cancelTimer(&a, 1), TimerManagerIf::OK);
    pass(1h);
    EXPECT_EQ(log, Log{"a1"});
}

TEST_F(TimerManagerCancel, ATimerThatIsDueCanStillBeCancelled) {
    start(5ms, a, 1);
    moveClock(5ms);
    ASSERT_TRUE(os->readable());
    EXPECT_EQ(manager.cancelTimer(&a, 1), TimerManagerIf::OK);
    EXPECT_FALSE(os->readable());
    pass(1h);
    EXPECT_TRUE(log.empty());
}

TEST_F(TimerManagerCancel, CancellingTheEarliestSetsTheDescriptorForTheNext) {
    start(5ms, a, 1);
    start(8ms, a, 2);
    ASSERT_EQ(manager.cancelTimer(&a, 1), TimerManagerIf::OK);
    EXPECT_EQ(os->lastArmedFor(), kStart + 8ms);
}

TEST_F(TimerManagerCancel, CancellingALaterOneLeavesTheDescriptorAsItIs) {
    start(5ms, a, 1);
    start(8ms, a, 2);
    start(5ms, a, 3);
    const auto settimes = os->settimeCalls.size();
    EXPECT_EQ(manager.cancelTimer(&a, 2), TimerManagerIf::OK);
    EXPECT_EQ(manager.cancelTimer(&a, 3), TimerManagerIf::OK);
    EXPECT_EQ(os->settimeCalls.size(), settimes);
}

TEST_F(TimerManagerCancel, CancellingTheOnlyTimerDisarmsTheDescriptorAndKeepsIt) {
    start(5ms, a, 1);
    ASSERT_EQ(manager.cancelTimer(&a, 1), TimerManagerIf::OK);
    const auto& call = os->settimeCalls.back();
    EXPECT_EQ(call.fd, os->fd());
    EXPECT_EQ(call.flags, TFD_TIMER_ABSTIME);
    EXPECT_EQ(call.oldValue, nullptr);
    EXPECT_EQ(call.value.it_value.tv_sec, 0);
    EXPECT_EQ(call.value.it_value.tv_nsec, 0);
    start(1ms, a, 1);
    EXPECT_EQ(os->createCalls.size(), 1U);
}

TEST_F(TimerManagerCancel, WithoutAnyTimerNothingIsFoundAndNoCallMade) {
    EXPECT_EQ(manager.cancelTimer(&a, 1), TimerManagerIf::NOT_FOUND);
    EXPECT_TRUE(os->createCalls.empty());
    EXPECT_TRUE(os->settimeCalls.empty());
}

TEST_F(TimerManagerCancel, AnotherIdOrReceiverIsNotFoundAndLeavesTheTimer) {
    start(5ms, a, 1);
    EXPECT_EQ(manager.cancelTimer(&a, 2), TimerManagerIf::NOT_FOUND);
    EXPECT_EQ(manager.cancelTimer(&b, 1), TimerManagerIf::NOT_FOUND);
    EXPECT_EQ(manager.cancelTimer(nullptr, 1), TimerManagerIf::NOT_FOUND);
    pass(5ms);
    EXPECT_EQ(log, Log{"a1"});
}

TEST_F(TimerManagerCancel, OnlyTheTimerOfThatReceiverAndIdIsCancelled) {
    start(1ms, a, 1);
    start(1ms, a, 2);
    start(1ms, b, 1);
    start(1ms, b, 2);
    EXPECT_EQ(manager.cancelTimer(&a, 2), TimerManagerIf::OK);
    EXPECT_EQ(manager.cancelTimer(&b, 1), TimerManagerIf::OK);
    pass(1ms);
    EXPECT_EQ(log, (Log{"a1", "b2"}));
}

TEST_F(TimerManagerCancel, ATimerIsCancelledOnce) {
    start(5ms, a, 1);
    EXPECT_EQ(manager.cancelTimer(&a, 1), TimerManagerIf::OK);
    EXPECT_EQ(manager.cancelTimer(&a, 1), TimerManagerIf::NOT_FOUND);
}

TEST_F(TimerManagerCancel, AfterItsExpiryAOneShotTimerIsNotFound) {
    start(5ms, a, 1);
    pass(5ms);
    EXPECT_EQ(manager.cancelTimer(&a, 1), TimerManagerIf::NOT_FOUND);
}

TEST_F(TimerManagerCancel, ACancelledTimerMayBeStartedAgainForAnotherTimeAndKind) {
    start(5ms, a, 1);
    ASSERT_EQ(manager.cancelTimer(&a, 1), TimerManagerIf::OK);
    startPeriodical(7ms, a, 1);
    pass(5ms);
    EXPECT_TRUE(log.empty());
    pass(2ms);
    pass(7ms);
    EXPECT_EQ(log, (Log{"a1", "a1"}));
}

}  // namespace
