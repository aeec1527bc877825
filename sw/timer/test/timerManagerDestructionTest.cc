#include <quoria/timer/timerManagerIf.h>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <thread>

#include "timerFixture.h"

namespace {

using namespace std::chrono_literals;

class TimerManagerDestruction : public TimerFixture {
protected:
    void recordCalls() {
        calls.onCall = [this](const std::string& call) { made.push_back(call); };
        os->onDisarm = [this](int fd) { made.push_back("disarm " + std::to_string(fd)); };
    }

    Log made;
};

TEST_F(TimerManagerDestruction, DisarmsThenClosesThenLeavesTheLoop) {
    start(5ms, a, 1);
    const std::string fd = std::to_string(os->fd());
    recordCalls();
    TimerManagerImpl::reset();
    EXPECT_EQ(made, (Log{"disarm " + fd, "close " + fd, "epoll_ctl DEL " + fd}));
    EXPECT_EQ(os->settimeCalls.back().flags, TFD_TIMER_ABSTIME);
    EXPECT_EQ(fcntl(os->fd(), F_GETFD), -1);
}

TEST_F(TimerManagerDestruction, DisarmsADescriptorWithoutTimersAsWell) {
    start(5ms, a, 1);
    ASSERT_EQ(manager.cancelTimer(&a, 1), TimerManagerIf::OK);
    recordCalls();
    TimerManagerImpl::reset();
    EXPECT_EQ(made.size(), 3U);
}

TEST_F(TimerManagerDestruction, AFailureToDisarmIsIgnored) {
    start(5ms, a, 1);
    os->failSettime(EINVAL);
    TimerManagerImpl::reset();
    EXPECT_EQ(fcntl(os->fd(), F_GETFD), -1);
}

TEST_F(TimerManagerDestruction, WithoutADescriptorNoCallIsMade) {
    recordCalls();
    TimerManagerImpl::reset();
    EXPECT_TRUE(made.empty());
    EXPECT_TRUE(os->settimeCalls.empty());
}

TEST_F(TimerManagerDestruction, TheLoopHasNoHandlerLeft) {
    start(5ms, a, 1);
    TimerManagerImpl::reset();
    EXPECT_EQ(loop.removeFdHandler(os->fd()), EventLoopIf::NOT_FOUND);
    EXPECT_EQ(loop.run(), EventLoopIf::OK);
}

TEST_F(TimerManagerDestruction, PendingTimersAreDroppedWithoutACall) {
    start(0ms, a, 1);
    startPeriodical(5ms, b, 1);
    TimerManagerImpl::reset();
    EXPECT_TRUE(log.empty());
}

TEST_F(TimerManagerDestruction, AfterResetTheThreadGetsAFreshManager) {
    start(5ms, a, 1);
    TimerManagerImpl::reset();
    TimerManagerIf& fresh = TimerManagerIf::getInstance();
    EXPECT_EQ(fresh.cancelTimer(&a, 1), TimerManagerIf::NOT_FOUND);
    const auto descriptors = openDescriptors();
    EXPECT_EQ(fresh.startTimer(5ms, &a, 1), TimerManagerIf::OK);
    EXPECT_EQ(openDescriptors(), descriptors + 1);
    EXPECT_EQ(os->createCalls.size(), 1U) << "the fresh one has a wrapper of its own";
}

TEST_F(TimerManagerDestruction, TheOsWrapperIsReleased) {
    std::weak_ptr<SimulatedTimerFd> watch;
    {
        const auto wrapper = std::make_shared<SimulatedTimerFd>(calls);
        watch = wrapper;
        manager.setOsWrapper(wrapper);
    }
    EXPECT_FALSE(watch.expired());
    TimerManagerImpl::reset();
    EXPECT_TRUE(watch.expired());
}

TEST(TimerManagerInstance, ResetWithoutAnInstanceDoesNothing) {
    std::thread([] { Quoria::Timer::V1::TimerManagerImpl::reset(); }).join();
}

using TimerManagerThread = TimerManagerDestruction;

TEST_F(TimerManagerThread, AThreadGetsTheSameManagerEveryTime) {
    EXPECT_EQ(&TimerManagerImpl::getInstance(), &manager);
    EXPECT_EQ(&TimerManagerIf::getInstance(), &manager);
}

TEST_F(TimerManagerThread, TwoThreadsGetTwoManagers) {
    std::thread([this] { EXPECT_NE(&TimerManagerIf::getInstance(), &manager); }).join();
}

TEST_F(TimerManagerThread, ResetLeavesTheManagerOfAnotherThreadAlone) {
    start(5ms, a, 1);
    std::thread([] {
        TimerManagerIf::getInstance();
        TimerManagerImpl::reset();
    }).join();
    pass(5ms);
    EXPECT_EQ(log, Log{"a1"});
}

TEST_F(TimerManagerThread, TheEndOfAThreadClosesItsDescriptorAndCallsNoReceiver) {
    const auto descriptors = openDescriptors();
    std::thread([this] {
        EXPECT_EQ(TimerManagerIf::getInstance().startTimer(0ms, &a, 1), TimerManagerIf::OK);
    }).join();
    EXPECT_EQ(openDescriptors(), descriptors);
    EXPECT_TRUE(log.empty());
}

TEST_F(TimerManagerThread, AThreadMayEndWhicheverOfLoopAndManagerWasUsedFirst) {
    const auto descriptors = openDescriptors();
    std::thread([] {
        EventLoopIf::getInstance();
        TimerManagerIf::getInstance().startTimer(1h, nullptr, 1);
    }).join();
    std::thread([] {
        TimerManagerIf::getInstance();
        EventLoopIf::getInstance();
        TimerManagerIf::getInstance().startTimer(1h, nullptr, 1);
    }).join();
    EXPECT_EQ(openDescriptors(), descriptors);
}

TEST_F(TimerManagerThread, ANewWrapperMakesTheCallsFromThenOnForTheSameDescriptor) {
    start(5ms, a, 1);
    const auto second = std::make_shared<SimulatedTimerFd>(calls);
    manager.setOsWrapper(second);
    const auto callsOfTheFirst = os->settimeCalls.size();
    start(3ms, a, 2);
    EXPECT_EQ(os->settimeCalls.size(), callsOfTheFirst);
    EXPECT_TRUE(second->createCalls.empty());
    ASSERT_EQ(second->settimeCalls.size(), 1U);
    EXPECT_EQ(second->settimeCalls[0].fd, os->fd());
}

TEST_F(TimerManagerThread, ResultsHaveTheirNumbers) {
    EXPECT_EQ(TimerManagerIf::OK, 0U);
    EXPECT_EQ(TimerManagerIf::ALREADY_EXISTS, 1U);
    EXPECT_EQ(TimerManagerIf::NOT_FOUND, 2U);
    EXPECT_EQ(TimerManagerIf::WRONG_THREAD, 3U);
    EXPECT_EQ(TimerManagerIf::OS_ERROR, 4U);
    EXPECT_EQ(sizeof(TimerManagerIf::ReturnCode), 4U);
}

}  // namespace
