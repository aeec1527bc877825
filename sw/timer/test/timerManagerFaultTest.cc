// One system call of a timer manager's life fails, each in its turn, and everything around it goes
// on.
#include <quoria/timer/timerManagerIf.h>

#include <quoriaTest/traceCapture.h>

#include <cerrno>
#include <string>
#include <vector>

#include "timerFixture.h"

namespace {

using namespace std::chrono_literals;
using QuoriaTest::TraceCapture;

struct Expected {
    std::string results;  // as use() gives them
    std::vector<std::string> errors;
};

class TimerManagerFault : public TimerFixture {
protected:
    TimerManagerFault() { renew(); }

    // The next use() has a manager of its own.
    void renew() {
        TimerManagerImpl::reset();
        TimerManagerImpl::getInstance().setOsWrapper(os);
    }

    // Every operation, each of which returns a digit, and the timeouts that come of them. Makes two
    // reads; sets the descriptor seven times.
    std::string use(int failingRead = 0) {
        log.clear();
        std::string results;
        const auto note = [&results](TimerManagerIf::ReturnCode result) {
            results += std::to_string(result);
        };
        TimerManagerIf& timers = TimerManagerIf::getInstance();
        note(timers.startTimer(10ms, &a, 1));
        if (failingRead > 0) {
            calls.failRead(os->fd(), EIO, failingRead - 1);
        }
        note(timers.startTimer(5ms, &a, 2));
        note(timers.startPeriodicalTimer(7ms, &b, 1));
        note(timers.cancelTimer(&a, 2));
        for (const auto distance : {5ms, 2ms, 3ms}) {
            pass(distance);
        }
        note(timers.cancelTimer(&b, 1));
        for (const std::string& timeout : log) {
            results += ' ' + timeout;
        }
        return results;
    }
};

const std::string kAllWell = "00000 b1 a1";
const std::string kError = "Input/output error (5)";

TEST_F(TimerManagerFault, OfAnyOneSettingConcernsTheTimerThatItWasFor) {
    const std::string error = "timerfd_settime failed, " + kError;
    const std::vector<Expected> expected = {
        {kAllWell, {}},            // disarms the new descriptor
        {"40000 b1", {error}},     // for the first timer, which is not started
        {"04020 b1 a1", {error}},  // for the second, likewise
        {kAllWell, {error}},       // for the next one after a cancel, which comes too early
        {"00000 b1", {error}},     // for the next one after an expiry, which is late without end
        {kAllWell, {error}},       // for the periodic one
        {kAllWell, {}},            // disarms after the last cancel
    };
    EXPECT_EQ(use(), kAllWell);
    ASSERT_EQ(os->settimeCalls.size(), expected.size()) << "a new call needs a row";

    for (std::size_t n = 1; n <= expected.size(); ++n) {
        SCOPED_TRACE(n);
        renew();
        os->failSettime(EIO, static_cast<int>(n) - 1);
        const TraceCapture trace;
        EXPECT_EQ(use(), expected[n - 1].results);
        EXPECT_EQ(trace.messages("ERROR"), expected[n - 1].errors);
        EXPECT_EQ(trace.events().size(), expected[n - 1].errors.size());
    }
}

TEST_F(TimerManagerFault, OfAnyOneReadDelaysTheTimeoutByOneTurnOfTheLoop) {
    for (int n = 1; n <= 2; ++n) {
        SCOPED_TRACE(n);
        renew();
        const TraceCapture trace;
        EXPECT_EQ(use(n), kAllWell);
        EXPECT_EQ(trace.messages("ERROR"), Log{"read failed, " + kError});
        EXPECT_EQ(trace.events().size(), 1U);
    }
}

TEST_F(TimerManagerFault, OfTheDescriptorsCreationConcernsTheTimerThatItWasFor) {
    os->failCreate(EIO);
    const TraceCapture trace;
    EXPECT_EQ(use(), "40000 b1");
    EXPECT_EQ(trace.messages("ERROR"), Log{"timerfd_create failed, " + kError});
}

TEST_F(TimerManagerFault, OfAnyOneCallLeaksNoDescriptor) {
    use();
    TimerManagerImpl::reset();
    const auto before = openDescriptors();
    for (int n = 0; n <= 8; ++n) {
        SCOPED_TRACE(n);
        renew();
        if (n == 0) {
            os->failCreate(EIO);
        } else {
            os->failSettime(EIO, n - 1);  // the eighth is the one of the destruction
        }
        use();
        EXPECT_EQ(openDescriptors(), before + 1);
        TimerManagerImpl::reset();
        EXPECT_EQ(openDescriptors(), before);
    }
    for (int n = 1; n <= 2; ++n) {
        SCOPED_TRACE(n);
        renew();
        use(n);
        TimerManagerImpl::reset();
        EXPECT_EQ(openDescriptors(), before);
    }
}

}  // namespace
