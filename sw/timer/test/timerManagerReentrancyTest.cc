// What receivers may do inside handleTimeout().

#include <quoria/timer/timerManagerIf.h>

#include <gtest/gtest.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <memory>
#include <stdexcept>

#include "timerFixture.h"

namespace {

using namespace std::chrono_literals;
using Quoria::Timer::V1::TimeoutReceiverIf;

class TimerManagerReentrancy : public TimerFixture {
protected:
    // The manager of the moment, which a test may have reset.
    static TimerManagerIf& current() { return TimerManagerIf::getInstance(); }
};

TEST_F(TimerManagerReentrancy, APeriodicTimerCancelledInItsOwnCallStops) {
    startPeriodical(5ms, a, 1);
    a.onTimeout = [this] { EXPECT_EQ(manager.cancelTimer(&a, 1), TimerManagerIf::OK); };
    pass(5ms);
    pass(1h);
    EXPECT_EQ(log, Log{"a1"});
    EXPECT_EQ(os->lastArmedFor(), std::nullopt);
}

TEST_F(TimerManagerReentrancy, AOneShotTimerIsNotFoundInItsOwnCall) {
    start(5ms, a, 1);
    a.onTimeout = [this] { EXPECT_EQ(manager.cancelTimer(&a, 1), TimerManagerIf::NOT_FOUND); };
    pass(5ms);
    EXPECT_EQ(log, Log{"a1"});
}

TEST_F(TimerManagerReentrancy, AOneShotTimerMayBeStartedAgainInItsOwnCall) {
    start(5ms, a, 1);
    a.onTimeout = [this] { start(3ms, a, 1); };
    pass(5ms);
    EXPECT_EQ(os->lastArmedFor(), kStart + 8ms);
    pass(3ms);
    EXPECT_EQ(log, (Log{"a1", "a1"}));
}

TEST_F(TimerManagerReentrancy, APeriodicTimerIsPendingInItsOwnCall) {
    startPeriodical(5ms, a, 1);
    a.onTimeout = [this] {
        EXPECT_EQ(manager.startTimer(1ms, &a, 1), TimerManagerIf::ALREADY_EXISTS);
    };
    pass(5ms);
    EXPECT_EQ(os->lastArmedFor(), kStart + 10ms);
}

TEST_F(TimerManagerReentrancy, APeriodicTimerMayBecomeAnotherInItsOwnCall) {
    startPeriodical(5ms, a, 1);
    a.onTimeout = [this] {
        EXPECT_EQ(manager.cancelTimer(&a, 1), TimerManagerIf::OK);
        startPeriodical(2ms, a, 1);
    };
    pass(5ms);
    EXPECT_EQ(os->lastArmedFor(), kStart + 7ms);
}

TEST_F(TimerManagerReentrancy, AnotherTimerThatIsDueAsWellMayBeCancelled) {
    start(1ms, a, 1);
    start(2ms, b, 1);
    a.onTimeout = [this] { EXPECT_EQ(manager.cancelTimer(&b, 1), TimerManagerIf::OK); };
    pass(9ms);
    EXPECT_EQ(log, Log{"a1"});
}

TEST_F(TimerManagerReentrancy, ATimerStartedForNowWaitsForTheNextIteration) {
    start(1ms, a, 1);
    a.onTimeout = [this] { start(0ms, b, 1); };
    moveClock(1ms);
    iterate();
    EXPECT_EQ(log, Log{"a1"});
    iterate();
    EXPECT_EQ(log, (Log{"a1", "b1"}));
}

TEST_F(TimerManagerReentrancy, AReceiverMayDeleteItself) {
    auto* const self = new NotingReceiver("self", log);
    self->onTimeout = [self] { delete self; };
    start(1ms, *self, 1);
    start(2ms, a, 1);
    pass(2ms);
    EXPECT_EQ(log, (Log{"self1", "a1"}));
}

TEST_F(TimerManagerReentrancy, WhatAReceiverThrowsLeavesTheLoopAndTheOtherTimersStay) {
    startPeriodical(5ms, a, 1);
    start(6ms, b, 1);
    a.onTimeout = [] { throw std::runtime_error("from the receiver"); };
    moveClock(5ms);
    EXPECT_THROW(loop.run(), std::runtime_error);
    pass(1ms);
    EXPECT_EQ(log, (Log{"a1", "b1"}));
    EXPECT_EQ(os->lastArmedFor(), kStart + 10ms);
}

TEST_F(TimerManagerReentrancy, AReceiverMayRunTheLoop) {
    start(1ms, a, 1);
    start(2ms, b, 1);
    a.onTimeout = [this] { iterate(); };
    moveClock(2ms);
    iterate();
    EXPECT_EQ(log, (Log{"a1", "b1"}));
}

TEST_F(TimerManagerReentrancy, AReceiverMayDestroyTheManager) {
    start(1ms, a, 1);
    start(1ms, b, 1);
    a.onTimeout = [] { TimerManagerImpl::reset(); };
    moveClock(1ms);
    EXPECT_EQ(loop.run(), EventLoopIf::OK) << "which has no handler left";
    EXPECT_EQ(log, Log{"a1"});
}

TEST_F(TimerManagerReentrancy, APeriodicTimersReceiverMayDestroyTheManager) {
    startPeriodical(1ms, a, 1);
    a.onTimeout = [] { TimerManagerImpl::reset(); };
    moveClock(1ms);
    EXPECT_EQ(loop.run(), EventLoopIf::OK);
    EXPECT_EQ(log, Log{"a1"});
}

TEST_F(TimerManagerReentrancy, AReceiverMayReplaceTheManagerAndStartTimersOfTheNewOne) {
    start(1ms, a, 1);
    start(1ms, b, 1);
    a.onTimeout = [this] {
        TimerManagerImpl::reset();
        TimerManagerImpl::getInstance().setOsWrapper(os);
        EXPECT_EQ(current().startTimer(0ms, &b, 2), TimerManagerIf::OK);
    };
    moveClock(1ms);
    iterate();
    EXPECT_EQ(log, Log{"a1"});
    iterate();
    EXPECT_EQ(log, (Log{"a1", "b2"}));
    EXPECT_EQ(current().cancelTimer(&b, 1), TimerManagerIf::NOT_FOUND);
}

TEST_F(TimerManagerReentrancy, AManagerDestroyedInANestedRunIsNotTouchedByTheOuterOne) {
    start(1ms, a, 1);
    start(1ms, b, 1);
    a.onTimeout = [this] { EXPECT_EQ(loop.run(), EventLoopIf::OK); };
    b.onTimeout = [] { TimerManagerImpl::reset(); };
    moveClock(1ms);
    EXPECT_EQ(loop.run(), EventLoopIf::OK);
    EXPECT_EQ(log, (Log{"a1", "b1"}));
}

// Another descriptor's handler that comes first in the batch in which the timer's event is.
class TimerManagerInABatch : public TimerManagerReentrancy {
protected:
    TimerManagerInABatch() : bell_(eventfd(1, EFD_CLOEXEC)) {}
    ~TimerManagerInABatch() override {
        loop.removeFdHandler(bell_);
        close(bell_);
    }

    void runBatch(const std::function<void()>& handler) {
        const auto onBell = [this, handler](int, unsigned int) {
            EXPECT_TRUE(os->readable());
            EXPECT_TRUE(log.empty());
            handler();
            loop.stop();
        };
        ASSERT_EQ(loop.addFdHandler(bell_, EventLoopIf::EVENT_IN, onBell), EventLoopIf::OK);
        start(1ms, a, 1);
        moveClock(1ms);
        ASSERT_EQ(loop.run(), EventLoopIf::OK);
    }

private:
    const int bell_;
};

TEST_F(TimerManagerInABatch, AFetchedEventIsDeliveredAfterTheOtherHandler) {
    runBatch([] {});
    EXPECT_EQ(log, Log{"a1"});
}

TEST_F(TimerManagerInABatch, AFetchedEventIsIgnoredIfTheTimerIsCancelledFirst) {
    runBatch([this] { EXPECT_EQ(manager.cancelTimer(&a, 1), TimerManagerIf::OK); });
    EXPECT_TRUE(log.empty());
}

TEST_F(TimerManagerInABatch, AFetchedEventIsNotTakenForALaterTimer) {
    runBatch([this] {
        start(5ms, b, 1);
        EXPECT_EQ(manager.cancelTimer(&a, 1), TimerManagerIf::OK);
    });
    EXPECT_TRUE(log.empty());
}

TEST_F(TimerManagerInABatch, AFetchedEventIsDroppedIfTheManagerIsDestroyedFirst) {
    runBatch([] { TimerManagerImpl::reset(); });
    EXPECT_TRUE(log.empty());
}

}  // namespace
