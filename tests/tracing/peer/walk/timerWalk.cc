#include "failingCalls.h"
#include "walk.h"

#include <quoria/eventLoop/eventLoopIf.h>
#include <quoria/timer/timeoutReceiverIf.h>
#include <quoria/timer/timerManagerIf.h>

#include <cerrno>
#include <chrono>

namespace TraceWalk {

namespace {

using Quoria::EventLoop::V1::EventLoopIf;
using Quoria::Timer::V1::TimerManagerIf;

class LoopStopper : public Quoria::Timer::V1::TimeoutReceiverIf {
public:
    void handleTimeout(unsigned int) override { EventLoopIf::getInstance()->stop(); }
};

}  // namespace

void walkTimers() {
    using namespace std::chrono_literals;
    constexpr unsigned int kTimer = 1;
    TimerManagerIf& timers = TimerManagerIf::getInstance();
    EventLoopIf& loop = *EventLoopIf::getInstance();
    LoopStopper stopper;

    failNext(Call::TIMERFD_CREATE, EMFILE);
    require(timers.startTimer(1h, &stopper, kTimer) == TimerManagerIf::OS_ERROR,
            "timerfd_create has not failed");
    failNext(Call::TIMERFD_SETTIME, EINVAL, 1);  // after the one that disarms the new descriptor
    require(timers.startTimer(1h, &stopper, kTimer) == TimerManagerIf::OS_ERROR,
            "timerfd_settime has not failed");

    require(timers.startTimer(0ms, &stopper, kTimer) == TimerManagerIf::OK, "a start has failed");
    failNext(Call::READ, EIO);
    require(loop.run() == EventLoopIf::OK, "the loop has failed");

    // A descriptor that can't be disarmed becomes readable for nobody.
    require(timers.startTimer(0ms, &stopper, kTimer) == TimerManagerIf::OK, "a start has failed");
    failNext(Call::TIMERFD_SETTIME, EINVAL);
    require(timers.cancelTimer(&stopper, kTimer) == TimerManagerIf::OK, "the cancel has failed");
    loop.scheduleEvent([&loop] { loop.stop(); });
    require(loop.run() == EventLoopIf::OK, "the loop has failed");
}

}  // namespace TraceWalk
