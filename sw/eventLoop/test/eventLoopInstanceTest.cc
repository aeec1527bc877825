#include <quoria/eventLoop/eventLoopIf.h>

#include <fcntl.h>
#include <gtest/gtest.h>

#include <thread>

#include "eventLoopFixture.h"

namespace {

using EventLoopInstance = EventLoopFixture;

TEST_F(EventLoopInstance, AThreadGetsTheSameLoopEveryTime) {
    EXPECT_EQ(EventLoopImpl::getInstance(), &loop);
    EXPECT_EQ(EventLoopIf::getInstance(), &loop);
}

TEST_F(EventLoopInstance, TwoThreadsGetTwoLoops) {
    std::thread([this] {
        ASSERT_NE(EventLoopIf::getInstance(), nullptr);
        EXPECT_NE(EventLoopIf::getInstance(), &loop);
    }).join();
}

TEST_F(EventLoopInstance, ANewLoopHasNoEpollDescriptorAndIsNotRunning) {
    EXPECT_EQ(Peer::epollFd(loop), -1);
    EXPECT_FALSE(Peer::running(loop));
}

TEST_F(EventLoopInstance, ResetGivesTheThreadAFreshLoopWithoutHandlers) {
    add(a, note("a"));
    EventLoopImpl::reset();
    EventLoopIf* const fresh = EventLoopIf::getInstance();
    EXPECT_EQ(fresh->removeFdHandler(a.fd()), EventLoopIf::NOT_FOUND);
    EXPECT_EQ(fresh->run(), EventLoopIf::OK);
}

TEST(EventLoopReset, DoesNothingOnAThreadWithoutALoop) {
    using Quoria::EventLoop::V1::EventLoopImpl;
    EventLoopImpl::reset();
    EXPECT_NE(EventLoopImpl::getInstance(), nullptr);
    EventLoopImpl::reset();
    EventLoopImpl::reset();
}

TEST_F(EventLoopInstance, ResetOnOneThreadLeavesTheLoopsOfOthersAlone) {
    add(a, note("a"));
    std::thread([] {
        EventLoopIf::getInstance();
        EventLoopImpl::reset();
    }).join();
    EXPECT_EQ(EventLoopIf::getInstance(), &loop);
    EXPECT_EQ(loop.removeFdHandler(a.fd()), EventLoopIf::OK);
}

TEST_F(EventLoopInstance, TheEndOfTheThreadDestroysItsLoop) {
    Captured captured;
    int epollFd = -1;
    std::thread([&, held = captured.release()]() mutable {
        EventLoopImpl* const theirs = EventLoopImpl::getInstance();
        theirs->addFdHandler(a.fd(), IN, [held](int, unsigned int) {});
        held.reset();
        epollFd = Peer::epollFd(*theirs);
        EXPECT_TRUE(captured.alive());
    }).join();
    EXPECT_FALSE(captured.alive());
    EXPECT_EQ(fcntl(epollFd, F_GETFD), -1);
}

TEST_F(EventLoopInstance, ResultsAndEventsHaveTheirNumbers) {
    EXPECT_EQ(EventLoopIf::OK, 0U);
    EXPECT_EQ(EventLoopIf::ALREADY_EXISTS, 1U);
    EXPECT_EQ(EventLoopIf::NOT_FOUND, 2U);
    EXPECT_EQ(EventLoopIf::INVALID_EVENTS, 3U);
    EXPECT_EQ(EventLoopIf::WRONG_THREAD, 4U);
    EXPECT_EQ(EventLoopIf::OS_ERROR, 5U);
    EXPECT_EQ(EventLoopIf::EVENT_IN, 1U);
    EXPECT_EQ(EventLoopIf::EVENT_OUT, 2U);
    EXPECT_EQ(sizeof(EventLoopIf::ReturnCode), 4U);
}

}  // namespace
