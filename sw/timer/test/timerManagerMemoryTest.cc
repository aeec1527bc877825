// What happens when memory runs out, at each place where it may.

#include <quoria/timer/timerManagerIf.h>

#include <gtest/gtest.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <new>
#include <string>

#include "failingNew.h"
#include "timerFixture.h"

namespace {

using namespace std::chrono_literals;

class TimerManagerMemory : public TimerFixture {
protected:
    TimerManagerMemory() {
        os->createCalls.reserve(100);
        os->settimeCalls.reserve(100);
    }

    // Starts a timer of `receiver` with `id`, with the first allocation failing, then the second,
    // and so on until none of them does. Returns how many did.
    int startDespiteFailures(NotingReceiver& receiver, unsigned int id) {
        for (int failures = 0;; ++failures) {
            try {
                const FailingNew memory(failures);
                EXPECT_EQ(manager.startTimer(5ms, &receiver, id), TimerManagerIf::OK);
                return failures;
            } catch (const std::bad_alloc&) {
                EXPECT_EQ(manager.cancelTimer(&receiver, id), TimerManagerIf::NOT_FOUND);
            }
        }
    }
};

TEST_F(TimerManagerMemory, TheFirstStartFailsWithoutALeakAndMayBeRepeated) {
    const int other = eventfd(0, EFD_CLOEXEC);  // so that the loop has its descriptor by now
    ASSERT_EQ(loop.addFdHandler(other, EventLoopIf::EVENT_IN, {}), EventLoopIf::OK);
    loop.removeFdHandler(other);
    const auto descriptors = openDescriptors();
    EXPECT_GT(startDespiteFailures(a, 1), 2);
    EXPECT_EQ(openDescriptors(), descriptors + 1);
    close(other);
    pass(5ms);
    EXPECT_EQ(log, Log{"a1"});
}

TEST_F(TimerManagerMemory, ALaterStartFailsWithoutATraceInTheOrderOfTheTimers) {
    start(5ms, a, 1);
    EXPECT_GE(startDespiteFailures(b, 1), 1);
    pass(5ms);
    EXPECT_EQ(log, (Log{"a1", "b1"}));
    EXPECT_EQ(os->lastArmedFor(), std::nullopt);
}

TEST_F(TimerManagerMemory, EachOfManyStartsFailsWithoutATrace) {
    start(5ms, a, 0);
    Log started{"a0"};
    int failures = 0;
    for (unsigned int id = 1; id <= 20; ++id) {
        failures += startDespiteFailures(b, id);
        started.push_back("b" + std::to_string(id));
    }
    EXPECT_GT(failures, 20);  // one for each timer, and those for the growth of the index
    pass(5ms);
    EXPECT_EQ(log, started);
}

TEST_F(TimerManagerMemory, AStartAfterACancellationNeedsNone) {
    start(5ms, a, 1);
    start(5ms, a, 2);
    ASSERT_EQ(manager.cancelTimer(&a, 2), TimerManagerIf::OK);
    EXPECT_EQ(startDespiteFailures(a, 3), 0);
    pass(5ms);
    EXPECT_EQ(log, (Log{"a1", "a3"}));
}

TEST_F(TimerManagerMemory, ExpiringAndCancellingNeedNone) {
    startPeriodical(5ms, a, 1);
    start(5ms, a, 2);
    start(9ms, b, 1);
    moveClock(5ms);
    log.reserve(10);
    loop.scheduleEvent([this] { loop.stop(); });
    const FailingNew memory(0);
    EXPECT_NO_THROW(loop.run());
    EXPECT_NO_THROW(manager.cancelTimer(&b, 1));
}

}  // namespace
