// timerFixture.h: the timer manager of the test's thread, with time in the test's hands.
//
// Only the test's own thread uses it. The manager is a fresh one for every test.
#ifndef QUORIA_TIMER_TEST_TIMERFIXTURE_H
#define QUORIA_TIMER_TEST_TIMERFIXTURE_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <quoria/eventLoop/eventLoopIf.h>
#include <quoria/timer/timeoutReceiverIf.h>
#include <quoria/timer/timerManagerIf.h>

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "interposedCalls.h"
#include "simulatedTimerFd.h"
#include "timerManagerImpl.h"

// Notes each of its timeouts as its name and the timer's id, as in "a1".
class NotingReceiver : public Quoria::Timer::V1::TimeoutReceiverIf {
public:
    NotingReceiver(std::string name, std::vector<std::string>& log)
        : name_(std::move(name)), log_(log) {}

    void handleTimeout(unsigned int timerId) override {
        log_.push_back(name_ + std::to_string(timerId));
        if (onTimeout) {
            onTimeout();
        }
    }

    std::function<void()> onTimeout;

private:
    const std::string name_;
    std::vector<std::string>& log_;
};

class TimerFixture : public testing::Test {
protected:
    using EventLoopIf = Quoria::EventLoop::V1::EventLoopIf;
    using TimerManagerIf = Quoria::Timer::V1::TimerManagerIf;
    using TimerManagerImpl = Quoria::Timer::V1::TimerManagerImpl;
    using Log = std::vector<std::string>;
    using milliseconds = std::chrono::milliseconds;
    using nanoseconds = std::chrono::nanoseconds;

    static constexpr nanoseconds kStart = std::chrono::seconds(1000);

    TimerFixture()
        : os(std::make_shared<SimulatedTimerFd>(calls)),
          loop(*EventLoopIf::getInstance()),
          manager(TimerManagerImpl::getInstance()),
          a("a", log),
          b("b", log) {
        manager.setOsWrapper(os);
        calls.setClock(kStart);
    }
    ~TimerFixture() override {
        calls.onCall = nullptr;
        os->onDisarm = nullptr;
        TimerManagerImpl::reset();
    }

    void start(milliseconds timeout, NotingReceiver& receiver, unsigned int id) {
        ASSERT_EQ(manager.startTimer(timeout, &receiver, id), TimerManagerIf::OK);
    }
    void startPeriodical(milliseconds period, NotingReceiver& receiver, unsigned int id) {
        ASSERT_EQ(manager.startPeriodicalTimer(period, &receiver, id), TimerManagerIf::OK);
    }

    // Lets the loop handle one event, which must be there.
    void iterate() {
        ASSERT_TRUE(os->readable());
        loop.scheduleEvent([this] { loop.stop(); });
        ASSERT_EQ(loop.run(), EventLoopIf::OK);
    }
    void setClock(nanoseconds now) {
        calls.setClock(now);
        os->clockHasMoved();
    }
    void moveClock(nanoseconds distance) { setClock(calls.clock() + distance); }
    // Moves the clock and lets the loop handle whatever is due then.
    void pass(nanoseconds distance) {
        moveClock(distance);
        while (os->readable() && !HasFatalFailure()) {
            iterate();
        }
    }

    static std::ptrdiff_t openDescriptors() {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    }

    InterposedCalls calls;
    const std::shared_ptr<SimulatedTimerFd> os;
    EventLoopIf& loop;
    TimerManagerImpl& manager;
    Log log;
    NotingReceiver a;
    NotingReceiver b;
};

#endif
