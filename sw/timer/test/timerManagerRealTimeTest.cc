// The timer manager with the real clock, descriptor and loop. Nothing here depends on how late a
// timer is.

#include <quoria/timer/timerManagerIf.h>

#include <gtest/gtest.h>
#include <quoria/eventLoop/eventLoopIf.h>
#include <quoria/timer/timeoutReceiverIf.h>

#include <chrono>
#include <utility>
#include <vector>

#include "timerManagerImpl.h"

namespace {

using namespace std::chrono_literals;
using Quoria::EventLoop::V1::EventLoopIf;
using Quoria::Timer::V1::TimeoutReceiverIf;
using Quoria::Timer::V1::TimerManagerIf;
using Quoria::Timer::V1::TimerManagerImpl;
using Clock = std::chrono::steady_clock;

class TimerManagerRealTime : public testing::Test, public TimeoutReceiverIf {
protected:
    TimerManagerRealTime()
        : manager(TimerManagerIf::getInstance()), loop(*EventLoopIf::getInstance()) {}
    ~TimerManagerRealTime() override { TimerManagerImpl::reset(); }

    void handleTimeout(unsigned int timerId) override {
        ids.push_back(timerId);
        times.push_back(Clock::now());
        if (ids.size() == wanted) {
            loop.stop();
        }
    }
    void runFor(std::size_t timeouts) {
        wanted = timeouts;
        ASSERT_EQ(loop.run(), EventLoopIf::OK);
    }

    TimerManagerIf& manager;
    EventLoopIf& loop;
    std::size_t wanted = 0;
    std::vector<unsigned int> ids;
    std::vector<Clock::time_point> times;
};

TEST_F(TimerManagerRealTime, AOneShotTimerIsNotEarly) {
    const auto start = Clock::now();
    ASSERT_EQ(manager.startTimer(20ms, this, 7), TimerManagerIf::OK);
    runFor(1);
    EXPECT_EQ(ids, std::vector<unsigned int>{7});
    EXPECT_GE(times[0], start + 20ms);
}

TEST_F(TimerManagerRealTime, APeriodicTimerIsNeverEarly) {
    const auto start = Clock::now();
    ASSERT_EQ(manager.startPeriodicalTimer(5ms, this, 7), TimerManagerIf::OK);
    runFor(4);
    for (std::size_t i = 0; i < times.size(); ++i) {
        EXPECT_GE(times[i], start + (i + 1) * 5ms);
    }
}

TEST_F(TimerManagerRealTime, TimersExpireInTheOrderOfTheirTimes) {
    const auto startAll = [this] {
        const Clock::time_point begin = Clock::now();
        EXPECT_EQ(manager.startTimer(9ms, this, 3), TimerManagerIf::OK);
        EXPECT_EQ(manager.startTimer(-1ms, this, 1), TimerManagerIf::OK);
        EXPECT_EQ(manager.startTimer(4ms, this, 2), TimerManagerIf::OK);
        return Clock::now() - begin;
    };
    // Whoever loses the processor in the middle has started them for another order.
    while (startAll() >= 5ms) {
        for (const unsigned int id : {1U, 2U, 3U}) {
            ASSERT_EQ(manager.cancelTimer(this, id), TimerManagerIf::OK);
        }
    }
    runFor(3);
    EXPECT_EQ(ids, (std::vector<unsigned int>{1, 2, 3}));
}

TEST_F(TimerManagerRealTime, TheLongestTimersDoNotExpireAndDoNotKeepOthersFromIt) {
    ASSERT_EQ(manager.startTimer(std::chrono::milliseconds::max(), this, 1), TimerManagerIf::OK);
    ASSERT_EQ(manager.startPeriodicalTimer(std::chrono::milliseconds::max(), this, 2),
              TimerManagerIf::OK);
    ASSERT_EQ(manager.startTimer(std::chrono::milliseconds::min(), this, 3), TimerManagerIf::OK);
    ASSERT_EQ(manager.startTimer(1ms, this, 4), TimerManagerIf::OK);
    runFor(2);
    EXPECT_EQ(ids, (std::vector<unsigned int>{3, 4}));
}

TEST_F(TimerManagerRealTime, TwoThousandTimersAllExpire) {
    constexpr unsigned int kTimers = 2'000;
    for (unsigned int id = 0; id < kTimers; ++id) {
        ASSERT_EQ(manager.startTimer(0ms, this, id), TimerManagerIf::OK);
    }
    runFor(kTimers);
    ASSERT_EQ(ids.size(), kTimers);
    for (unsigned int id = 0; id < kTimers; ++id) {
        EXPECT_EQ(ids[id], id);
    }
}

}  // namespace
