#include <quoria/timer/timerManagerIf.h>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <quoriaTest/traceCapture.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <stdexcept>
#include <thread>

#include "timerFixture.h"
#include "timerManagerOsWrapper.h"

namespace {

using namespace std::chrono_literals;
using QuoriaTest::TraceCapture;

class TimerManagerFailure : public TimerFixture {
protected:
    void expectOneError(const std::string& message) {
        EXPECT_EQ(trace.events().size(), 1U);
        EXPECT_EQ(trace.messages("ERROR"), Log{message});
    }
    void expectNoTrace() { EXPECT_TRUE(trace.events().empty()); }

    const TraceCapture trace;
};

TEST_F(TimerManagerFailure, AFailedCreateIsTracedAndTriedAgainByTheNextStart) {
    os->failCreate(EMFILE);
    EXPECT_EQ(manager.startTimer(5ms, &a, 1), TimerManagerIf::OS_ERROR);
    expectOneError("timerfd_create failed, Too many open files (24)");
    EXPECT_TRUE(os->settimeCalls.empty());
    EXPECT_EQ(manager.cancelTimer(&a, 1), TimerManagerIf::NOT_FOUND);
    start(5ms, a, 1);
    pass(5ms);
    EXPECT_EQ(log, Log{"a1"});
}

TEST_F(TimerManagerFailure, AFailedCreateRefusesAPeriodicTimerAsWell) {
    os->failCreate(ENFILE);
    EXPECT_EQ(manager.startPeriodicalTimer(5ms, &a, 1), TimerManagerIf::OS_ERROR);
    expectOneError("timerfd_create failed, Too many open files in system (23)");
    EXPECT_EQ(manager.cancelTimer(&a, 1), TimerManagerIf::NOT_FOUND);
}

TEST_F(TimerManagerFailure, AFailureToDisarmTheNewDescriptorIsIgnored) {
    os->failSettime(EINVAL);
    start(5ms, a, 1);
    expectNoTrace();
    EXPECT_EQ(os->lastArmedFor(), kStart + 5ms);
}

TEST_F(TimerManagerFailure, ADescriptorThatHasAHandlerIsClosedAndTheFailureNotTraced) {
    const int taken = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    ASSERT_EQ(loop.addFdHandler(taken, EventLoopIf::EVENT_IN, [](int, unsigned int) {}),
              EventLoopIf::OK);
    os->createReturns(taken);
    EXPECT_EQ(manager.startTimer(5ms, &a, 1), TimerManagerIf::OS_ERROR);
    expectNoTrace();
    EXPECT_EQ(fcntl(taken, F_GETFD), -1);
    loop.removeFdHandler(taken);
    EXPECT_EQ(manager.cancelTimer(&a, 1), TimerManagerIf::NOT_FOUND);
}

TEST_F(TimerManagerFailure, AfterAFailedRegistrationTheNextStartMakesAnotherDescriptor) {
    const int unwatchable = open("/dev/null", O_RDONLY | O_CLOEXEC);
    os->createReturns(unwatchable);
    EXPECT_EQ(manager.startTimer(5ms, &a, 1), TimerManagerIf::OS_ERROR);
    EXPECT_EQ(fcntl(unwatchable, F_GETFD), -1);
    expectOneError("epoll_ctl(ADD) failed: Operation not permitted (1)");
    start(5ms, a, 1);
    EXPECT_EQ(os->createCalls.size(), 2U);
    pass(5ms);
    EXPECT_EQ(log, Log{"a1"});
}

TEST_F(TimerManagerFailure, ATimerThatTheDescriptorCannotBeSetForIsNotStarted) {
    os->failSettime(EINVAL, 1);
    EXPECT_EQ(manager.startTimer(5ms, &a, 1), TimerManagerIf::OS_ERROR);
    expectOneError("timerfd_settime failed, Invalid argument (22)");
    EXPECT_EQ(manager.cancelTimer(&a, 1), TimerManagerIf::NOT_FOUND);
    start(6ms, a, 1);
    EXPECT_EQ(os->createCalls.size(), 1U);
    pass(6ms);
    EXPECT_EQ(log, Log{"a1"});
}

TEST_F(TimerManagerFailure, AnEarlierTimerThatCannotBeSetForLeavesTheOthersAsTheyWere) {
    start(5ms, a, 1);
    os->failSettime(ENOMEM);
    EXPECT_EQ(manager.startPeriodicalTimer(1ms, &b, 1), TimerManagerIf::OS_ERROR);
    expectOneError("timerfd_settime failed, Cannot allocate memory (12)");
    pass(5ms);
    EXPECT_EQ(log, Log{"a1"});
    EXPECT_EQ(manager.cancelTimer(&b, 1), TimerManagerIf::NOT_FOUND);
}

TEST_F(TimerManagerFailure, AFailureToSetForTheNextTimerWhenCancellingIsTracedOnly) {
    start(5ms, a, 1);
    start(8ms, b, 1);
    os->failSettime(EINVAL);
    EXPECT_EQ(manager.cancelTimer(&a, 1), TimerManagerIf::OK);
    expectOneError("timerfd_settime failed, Invalid argument (22)");
    EXPECT_EQ(manager.startTimer(9ms, &b, 1), TimerManagerIf::ALREADY_EXISTS);
    EXPECT_EQ(manager.cancelTimer(&a, 1), TimerManagerIf::NOT_FOUND);
}

TEST_F(TimerManagerFailure, AFailureToDisarmWhenCancellingIsIgnored) {
    start(5ms, a, 1);
    os->failSettime(EINVAL);
    EXPECT_EQ(manager.cancelTimer(&a, 1), TimerManagerIf::OK);
    expectNoTrace();
}

TEST_F(TimerManagerFailure, AFailureToSetForTheNextTimerAfterAnExpiryIsTracedOnly) {
    start(5ms, a, 1);
    start(8ms, b, 1);
    os->failSettime(EINVAL);
    pass(5ms);
    EXPECT_EQ(log, Log{"a1"});
    expectOneError("timerfd_settime failed, Invalid argument (22)");
    EXPECT_EQ(manager.cancelTimer(&b, 1), TimerManagerIf::OK);
}

TEST_F(TimerManagerFailure, APeriodicTimerStaysIfTheDescriptorCannotBeSetForItsNextTime) {
    startPeriodical(5ms, a, 1);
    os->failSettime(EINVAL);
    pass(5ms);
    EXPECT_EQ(log, Log{"a1"});
    expectOneError("timerfd_settime failed, Invalid argument (22)");
    start(1ms, b, 1);
    pass(1ms);
    EXPECT_EQ(os->lastArmedFor(), kStart + 10ms);
}

TEST_F(TimerManagerFailure, AFailureToDisarmAfterTheLastExpiryIsIgnored) {
    start(5ms, a, 1);
    os->failSettime(EINVAL);
    moveClock(5ms);
    iterate();
    EXPECT_EQ(log, Log{"a1"});
    expectNoTrace();
}

TEST_F(TimerManagerFailure, AnEventThatIsNotThereAnyMoreIsIgnored) {
    start(5ms, a, 1);
    moveClock(5ms);
    calls.failRead(os->fd(), EAGAIN);
    iterate();
    EXPECT_TRUE(log.empty());
    expectNoTrace();
    iterate();
    EXPECT_EQ(log, Log{"a1"});
}

TEST_F(TimerManagerFailure, AFailedReadIsTracedAndTheTimersStay) {
    start(5ms, a, 1);
    moveClock(5ms);
    calls.failRead(os->fd(), EIO);
    iterate();
    EXPECT_TRUE(log.empty());
    expectOneError("read failed, Input/output error (5)");
    iterate();
    EXPECT_EQ(log, Log{"a1"});
}

TEST_F(TimerManagerFailure, AFailedReadWithoutATimerIsReportedAsAFailedRead) {
    start(5ms, a, 1);
    ASSERT_EQ(manager.cancelTimer(&a, 1), TimerManagerIf::OK);
    os->ring();
    calls.failRead(os->fd(), EINTR);
    iterate();
    expectOneError("read failed, Interrupted system call (4)");
}

TEST_F(TimerManagerFailure, ErrorsNameTheSourceFile) {
    os->failCreate(EMFILE);
    EXPECT_EQ(manager.startTimer(5ms, &a, 1), TimerManagerIf::OS_ERROR);
    EXPECT_EQ(trace.events().at(0).file, "timerManagerImpl.cc");
    EXPECT_NE(trace.events().at(0).line, 0U);
}

class ThrowingOsWrapper : public Quoria::Timer::V1::TimerManagerOsWrapper {
public:
    int timerfdSettime(int, int, const itimerspec*, itimerspec*) override {
        throw std::runtime_error("settime");
    }
};

TEST_F(TimerManagerFailure, AnExceptionWhileTheDescriptorIsArmedLeavesNoTimer) {
    start(5ms, a, 1);
    manager.setOsWrapper(std::make_shared<ThrowingOsWrapper>());
    EXPECT_THROW(manager.startTimer(1ms, &a, 2), std::runtime_error);
    manager.setOsWrapper(os);
    EXPECT_EQ(manager.cancelTimer(&a, 2), TimerManagerIf::NOT_FOUND);
    EXPECT_EQ(manager.cancelTimer(&a, 1), TimerManagerIf::OK);
}

TEST_F(TimerManagerFailure, AnotherThreadMayReplaceTheOsWrapper) {
    const auto failing = std::make_shared<SimulatedTimerFd>(calls);
    failing->failCreate(EMFILE);
    std::thread([&] { manager.setOsWrapper(failing); }).join();
    EXPECT_EQ(manager.startTimer(5ms, &a, 1), TimerManagerIf::OS_ERROR);
}

using TimerManagerUntraced = TimerFixture;

TEST_F(TimerManagerUntraced, FailuresHaveTheSameResultsWithoutTracing) {
    os->failCreate(EMFILE);
    EXPECT_EQ(manager.startTimer(5ms, &a, 1), TimerManagerIf::OS_ERROR);
    os->failSettime(EINVAL, 1);
    EXPECT_EQ(manager.startTimer(5ms, &a, 1), TimerManagerIf::OS_ERROR);
    start(5ms, a, 1);
    moveClock(5ms);
    calls.failRead(os->fd(), EIO);
    iterate();
    EXPECT_TRUE(log.empty());
    iterate();
    EXPECT_EQ(log, Log{"a1"});
}

}  // namespace
