#include <quoria/timer/timerManagerIf.h>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <quoriaTest/traceCapture.h>
#include <sys/epoll.h>
#include <sys/timerfd.h>

#include <ctime>
#include <string>
#include <thread>

#include "timerFixture.h"

namespace {

using namespace std::chrono_literals;
using QuoriaTest::TraceCapture;

class TimerManagerStart : public TimerFixture {};

TEST_F(TimerManagerStart, ConstructionMakesNoCalls) {
    EXPECT_TRUE(os->createCalls.empty());
    EXPECT_TRUE(os->settimeCalls.empty());
}

TEST_F(TimerManagerStart, TheFirstStartMakesAMonotonicDescriptorAndDisarmsIt) {
    start(5ms, a, 1);
    ASSERT_EQ(os->createCalls.size(), 1U);
    EXPECT_EQ(os->createCalls[0].clockid, CLOCK_MONOTONIC);
    EXPECT_EQ(os->createCalls[0].flags, TFD_NONBLOCK | TFD_CLOEXEC);
    ASSERT_EQ(os->settimeCalls.size(), 2U);
    const auto& first = os->settimeCalls[0];
    EXPECT_EQ(first.fd, os->fd());
    EXPECT_EQ(first.flags, TFD_TIMER_ABSTIME);
    EXPECT_EQ(first.oldValue, nullptr);
    EXPECT_EQ(first.value.it_value.tv_sec, 0);
    EXPECT_EQ(first.value.it_value.tv_nsec, 0);
    EXPECT_EQ(first.value.it_interval.tv_sec, 0);
    EXPECT_EQ(first.value.it_interval.tv_nsec, 0);
}

TEST_F(TimerManagerStart, TheNewDescriptorIsDisarmedBeforeTheLoopWatchesItForReading) {
    Log made;
    calls.onCall = [&made](const std::string& call) { made.push_back(call); };
    os->onDisarm = [&made](int fd) { made.push_back("disarm " + std::to_string(fd)); };

    start(5ms, a, 1);

    const std::string fd = std::to_string(os->fd());
    EXPECT_EQ(made,
              (Log{"disarm " + fd, "epoll_ctl ADD " + fd + " for " + std::to_string(EPOLLIN)}));
    calls.onCall = nullptr;
    os->onDisarm = nullptr;
}

TEST_F(TimerManagerStart, LaterStartsUseTheSameDescriptor) {
    start(5ms, a, 1);
    start(1ms, a, 2);
    pass(5ms);
    start(5ms, a, 1);
    EXPECT_EQ(os->createCalls.size(), 1U);
}

TEST_F(TimerManagerStart, ArmsTheDescriptorForTheAbsoluteTimeInSecondsAndNanoseconds) {
    setClock(1000s + 500ms + 7ns);
    start(1999ms, a, 1);
    const auto& call = os->settimeCalls.back();
    EXPECT_EQ(call.fd, os->fd());
    EXPECT_EQ(call.flags, TFD_TIMER_ABSTIME);
    EXPECT_EQ(call.oldValue, nullptr);
    EXPECT_EQ(call.value.it_value.tv_sec, 1002);
    EXPECT_EQ(call.value.it_value.tv_nsec, 499'000'007);
    EXPECT_EQ(call.value.it_interval.tv_sec, 0);
    EXPECT_EQ(call.value.it_interval.tv_nsec, 0);
}

TEST_F(TimerManagerStart, APeriodicTimerIsArmedForOnePeriodFromNowAndWithoutAKernelInterval) {
    startPeriodical(1500ms, a, 1);
    const auto& call = os->settimeCalls.back();
    EXPECT_EQ(call.value.it_value.tv_sec, 1001);
    EXPECT_EQ(call.value.it_value.tv_nsec, 500'000'000);
    EXPECT_EQ(call.value.it_interval.tv_sec, 0);
    EXPECT_EQ(call.value.it_interval.tv_nsec, 0);
}

TEST_F(TimerManagerStart, AnEarlierTimerIsArmedForInsteadOfTheFormerEarliest) {
    start(5ms, a, 1);
    start(3ms, a, 2);
    EXPECT_EQ(os->lastArmedFor(), kStart + 3ms);
    EXPECT_EQ(os->settimeCalls.size(), 3U);
}

TEST_F(TimerManagerStart, ALaterTimerLeavesTheDescriptorAsItIs) {
    start(5ms, a, 1);
    const auto settimes = os->settimeCalls.size();
    start(6ms, a, 2);
    startPeriodical(7ms, a, 3);
    EXPECT_EQ(os->settimeCalls.size(), settimes);
}

TEST_F(TimerManagerStart, ATimerOfTheSameTimeLeavesTheDescriptorAsItIs) {
    start(5ms, a, 1);
    const auto settimes = os->settimeCalls.size();
    start(5ms, b, 1);
    EXPECT_EQ(os->settimeCalls.size(), settimes);
}

TEST_F(TimerManagerStart, APendingTimerIsNotStartedAgainAndKeepsItsTime) {
    start(5ms, a, 1);
    moveClock(2ms);
    EXPECT_EQ(manager.startTimer(1ms, &a, 1), TimerManagerIf::ALREADY_EXISTS);
    EXPECT_EQ(manager.startTimer(9ms, &a, 1), TimerManagerIf::ALREADY_EXISTS);
    EXPECT_EQ(os->lastArmedFor(), kStart + 5ms);
    pass(3ms);
    EXPECT_EQ(log, Log{"a1"});
    pass(1s);
    EXPECT_EQ(log, Log{"a1"});
}

TEST_F(TimerManagerStart, OneShotAndPeriodicTimersShareTheIds) {
    start(5ms, a, 1);
    EXPECT_EQ(manager.startPeriodicalTimer(5ms, &a, 1), TimerManagerIf::ALREADY_EXISTS);
    startPeriodical(5ms, a, 2);
    EXPECT_EQ(manager.startTimer(5ms, &a, 2), TimerManagerIf::ALREADY_EXISTS);
    EXPECT_EQ(manager.startPeriodicalTimer(5ms, &a, 2), TimerManagerIf::ALREADY_EXISTS);
}

TEST_F(TimerManagerStart, TheSameIdWithAnotherReceiverIsAnotherTimer) {
    start(1ms, a, 1);
    start(2ms, b, 1);
    pass(2ms);
    EXPECT_EQ(log, (Log{"a1", "b1"}));
}

TEST_F(TimerManagerStart, EveryIdIsAsGoodAsAnyOther) {
    start(1ms, a, 0);
    start(2ms, a, 4294967295U);
    pass(2ms);
    EXPECT_EQ(log, (Log{"a0", "a4294967295"}));
}

TEST_F(TimerManagerStart, ANullReceiverIsLikeAnyOtherButNobodyIsCalled) {
    EXPECT_EQ(manager.startTimer(1ms, nullptr, 1), TimerManagerIf::OK);
    EXPECT_EQ(manager.startTimer(1ms, nullptr, 1), TimerManagerIf::ALREADY_EXISTS);
    EXPECT_EQ(manager.startPeriodicalTimer(2ms, nullptr, 2), TimerManagerIf::OK);
    pass(2ms);
    EXPECT_EQ(manager.cancelTimer(nullptr, 1), TimerManagerIf::NOT_FOUND);
    EXPECT_EQ(manager.cancelTimer(nullptr, 2), TimerManagerIf::OK);
}

TEST_F(TimerManagerStart, AnotherThreadIsRefusedByEveryOperationAndChangesNothing) {
    const TraceCapture trace;
    start(5ms, a, 1);
    const auto settimes = os->settimeCalls.size();
    std::thread([this] {
        EXPECT_EQ(manager.startTimer(1ms, &b, 1), TimerManagerIf::WRONG_THREAD);
        EXPECT_EQ(manager.startTimer(1ms, &a, 1), TimerManagerIf::WRONG_THREAD);
        EXPECT_EQ(manager.startPeriodicalTimer(1ms, &b, 1), TimerManagerIf::WRONG_THREAD);
        EXPECT_EQ(manager.cancelTimer(&a, 1), TimerManagerIf::WRONG_THREAD);
        EXPECT_EQ(manager.cancelTimer(&b, 1), TimerManagerIf::WRONG_THREAD);
    }).join();
    EXPECT_EQ(os->settimeCalls.size(), settimes);
    EXPECT_TRUE(trace.events().empty());
    pass(5ms);
    EXPECT_EQ(log, Log{"a1"});
}

TEST_F(TimerManagerStart, AnotherThreadMakesNoDescriptor) {
    std::thread([this] {
        EXPECT_EQ(manager.startTimer(1ms, &a, 1), TimerManagerIf::WRONG_THREAD);
    }).join();
    EXPECT_TRUE(os->createCalls.empty());
}

TEST_F(TimerManagerStart, AnotherThreadIsRefusedToCancelEvenIfNothingIsPending) {
    std::thread([this] {
        EXPECT_EQ(manager.cancelTimer(&a, 1), TimerManagerIf::WRONG_THREAD);
    }).join();
}

TEST_F(TimerManagerStart, TheTimeRunsFromWhenTheDescriptorHasBeenMade) {
    os->onDisarm = [this](int) { calls.setClock(kStart + 2ms); };
    start(5ms, a, 1);
    EXPECT_EQ(os->lastArmedFor(), kStart + 7ms);
}

TEST_F(TimerManagerStart, SuccessIsNotTraced) {
    const TraceCapture trace;
    start(1ms, a, 1);
    startPeriodical(1ms, a, 2);
    pass(1ms);
    manager.cancelTimer(&a, 2);
    EXPECT_TRUE(trace.events().empty());
}

}  // namespace
