#include <quoria/eventLoop/eventLoopIf.h>

#include <gtest/gtest.h>
#include <quoriaTest/traceCapture.h>
#include <sys/epoll.h>
#include <unistd.h>

#include <cerrno>
#include <functional>
#include <stdexcept>

#include "eventLoopFixture.h"

namespace {

using QuoriaTest::TraceCapture;
using Log = std::vector<std::string>;

using EventLoopRun = EventLoopFixture;

TEST_F(EventLoopRun, WithoutHandlersItReturnsOkAtOnceAndMakesNoEpollDescriptor) {
    EXPECT_EQ(loop.run(), EventLoopIf::OK);
    EXPECT_TRUE(os->waitCalls.empty());
    EXPECT_TRUE(os->createFlags.empty());
    EXPECT_EQ(Peer::epollFd(loop), -1);
}

TEST_F(EventLoopRun, WithoutHandlersItTakesAStopBackAllTheSame) {
    EXPECT_EQ(loop.stop(), EventLoopIf::OK);
    EXPECT_EQ(loop.run(), EventLoopIf::OK);
    EXPECT_TRUE(Peer::running(loop));
}

TEST_F(EventLoopRun, AHandlerIsCalledWithItsDescriptorAndTheEventsThatHold) {
    int calledFd = -1;
    unsigned int calledEvents = 0;
    ASSERT_EQ(loop.addFdHandler(a.fd(), IN | OUT,
                                [&](int fd, unsigned int events) {
                                    calledFd = fd;
                                    calledEvents = events;
                                    loop.stop();
                                }),
              EventLoopIf::OK);
    EXPECT_EQ(loop.run(), EventLoopIf::OK);  // an eventfd can be written from the start
    EXPECT_EQ(calledFd, a.fd());
    EXPECT_EQ(calledEvents, static_cast<unsigned int>(OUT));
    a.ring();
    EXPECT_EQ(loop.run(), EventLoopIf::OK);
    EXPECT_EQ(calledEvents, static_cast<unsigned int>(IN | OUT));
}

TEST_F(EventLoopRun, AHandlerIsCalledAgainForAsLongAsItsEventHolds) {
    add(a, [this](int, unsigned int) {
        log.push_back("a");
        if (log.size() == 3) {
            a.silence();
            loop.stop();
        }
    });
    a.ring();
    EXPECT_EQ(loop.run(), EventLoopIf::OK);
    EXPECT_EQ(log, (Log{"a", "a", "a"}));
}

TEST_F(EventLoopRun, EveryWaitTakesAtMostThreeEventsAndHasNoTimeout) {
    add(a, note("a"));
    os->deliverNothing();
    EXPECT_EQ(runScript(), EventLoopIf::OK);
    ASSERT_EQ(os->waitCalls.size(), 2U);
    for (const auto& call : os->waitCalls) {
        EXPECT_EQ(call.epfd, Peer::epollFd(loop));
        EXPECT_EQ(call.maxevents, 3);
        EXPECT_EQ(call.timeout, -1);
    }
}

TEST_F(EventLoopRun, StopBeforeRunIsForgotten) {
    add(a, note("a"));
    EXPECT_EQ(loop.stop(), EventLoopIf::OK);
    os->deliver({{a.fd(), EPOLLIN}});
    os->deliver({{a.fd(), EPOLLIN}});
    EXPECT_EQ(runScript(), EventLoopIf::OK);
    EXPECT_EQ(log, (Log{"a", "a"}));
}

TEST_F(EventLoopRun, HandlersSurviveAndTheLoopMayRunAgain) {
    add(a, [this](int, unsigned int) {
        log.push_back("a");
        loop.stop();
    });
    a.ring();
    EXPECT_EQ(loop.run(), EventLoopIf::OK);
    EXPECT_EQ(loop.run(), EventLoopIf::OK);
    EXPECT_EQ(log, (Log{"a", "a"}));
}

TEST_F(EventLoopRun, ReadableAndHungUpTogetherIsDeliveredAsReadableAlone) {
    unsigned int calledEvents = 0;
    add(a, [&](int, unsigned int events) { calledEvents = events; });
    os->deliver({{a.fd(), EPOLLIN | EPOLLHUP | EPOLLERR | EPOLLRDHUP | EPOLLPRI}});
    EXPECT_EQ(runScript(), EventLoopIf::OK);
    EXPECT_EQ(calledEvents, static_cast<unsigned int>(IN));
}

TEST_F(EventLoopRun, ErrorOrHangUpAloneCallsNobody) {
    add(a, note("a"));
    loop.scheduleEvent(noteDeferred("deferred"));
    os->deliver({{a.fd(), EPOLLERR}});
    os->deliver({{a.fd(), EPOLLHUP}});
    os->deliver({{a.fd(), EPOLLERR | EPOLLHUP}});
    EXPECT_EQ(runScript(), EventLoopIf::OK);
    EXPECT_TRUE(log.empty());
}

TEST_F(EventLoopRun, ADescriptorThatIsOnlyHungUpKeepsTheLoopAwakeWithoutACall) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    ASSERT_EQ(close(ends[1]), 0);
    ASSERT_EQ(loop.addFdHandler(ends[0], IN, note("hung up")), EventLoopIf::OK);
    add(a, [this](int, unsigned int) { loop.stop(); });
    os->onWait = [this](std::size_t wait) {
        if (wait == 3) {
            a.ring();
        }
    };
    EXPECT_EQ(loop.run(), EventLoopIf::OK);
    EXPECT_TRUE(log.empty());
    EXPECT_EQ(os->waitCalls.size(), 3U);
    EXPECT_EQ(loop.removeFdHandler(ends[0]), EventLoopIf::OK);
    EXPECT_EQ(close(ends[0]), 0);
}

TEST_F(EventLoopRun, AnEventNobodyAskedForIsDropped) {
    add(a, note("a"));
    os->deliver({{a.fd(), EPOLLOUT}});
    EXPECT_EQ(runScript(), EventLoopIf::OK);
    EXPECT_TRUE(log.empty());
}

TEST_F(EventLoopRun, AnInterruptedWaitIsRepeatedAndNotTraced) {
    const TraceCapture trace;
    add(a, note("a"));
    os->interrupt([] {});
    os->deliver({{a.fd(), EPOLLIN}});
    EXPECT_EQ(runScript(), EventLoopIf::OK);
    EXPECT_EQ(log, Log{"a"});
    EXPECT_EQ(os->waitCalls.size(), 3U);
    EXPECT_TRUE(trace.events().empty());
}

TEST_F(EventLoopRun, AnInterruptedWaitEndsAStoppedLoop) {
    add(a, note("a"));
    os->interrupt([this] { loop.stop(); });
    EXPECT_EQ(loop.run(), EventLoopIf::OK);
    EXPECT_EQ(os->waitCalls.size(), 1U);
}

TEST_F(EventLoopRun, AWaitThatReturnsNothingIsRepeatedAndEndsAStoppedLoop) {
    add(a, note("a"));
    os->deliverNothing();
    os->deliverNothing();
    os->onWait = [this](std::size_t wait) {
        if (wait == 2) {
            loop.stop();
        }
    };
    EXPECT_EQ(loop.run(), EventLoopIf::OK);
    EXPECT_EQ(os->waitCalls.size(), 2U);
}

TEST_F(EventLoopRun, AFailedWaitIsTracedAndHandlersAndQueueSurvive) {
    const TraceCapture trace;
    add(a, note("a"));
    loop.scheduleEvent(noteDeferred("deferred"));
    os->failWait(EINVAL);
    EXPECT_EQ(loop.run(), EventLoopIf::OS_ERROR);
    EXPECT_EQ(trace.messages("ERROR"), Log{"epoll_wait failed: Invalid argument (22)"});
    EXPECT_EQ(trace.events().size(), 1U);
    EXPECT_TRUE(Peer::running(loop));
    os->deliver({{a.fd(), EPOLLIN}});
    EXPECT_EQ(runScript(), EventLoopIf::OK);
    EXPECT_EQ(log, (Log{"a", "deferred"}));
}

TEST_F(EventLoopRun, AFailedWaitEndsEvenAStoppedLoopWithAnError) {
    add(a, note("a"));
    os->onWait = [this](std::size_t) { loop.stop(); };
    os->failWait(EBADF);
    EXPECT_EQ(loop.run(), EventLoopIf::OS_ERROR);
}

TEST_F(EventLoopRun, WhatAHandlerThrowsLeavesRunAndTheRestOfTheBatchComesWithTheNextRun) {
    bool thrown = false;
    const auto handler = [&](int, unsigned int) {
        if (!thrown) {
            thrown = true;
            throw std::runtime_error("from a handler");
        }
        log.push_back("called");
        loop.stop();
    };
    add(a, handler);
    add(b, handler);
    a.ring();
    b.ring();
    EXPECT_THROW(loop.run(), std::runtime_error);
    EXPECT_TRUE(log.empty());
    EXPECT_EQ(loop.run(), EventLoopIf::OK);
    EXPECT_EQ(log, (Log{"called", "called"}));
}

TEST_F(EventLoopRun, AnEmptyHandlerThrowsWhenItsTurnComes) {
    ASSERT_EQ(loop.addFdHandler(a.fd(), IN, {}), EventLoopIf::OK);
    a.ring();
    EXPECT_THROW(loop.run(), std::bad_function_call);
}

TEST_F(EventLoopRun, TheResultsDoNotDependOnTracing) {
    os->failCreate(EMFILE);
    EXPECT_EQ(loop.addFdHandler(a.fd(), IN, note("a")), EventLoopIf::OS_ERROR);
    os->failCtl(EPOLL_CTL_ADD, EPERM);
    EXPECT_EQ(loop.addFdHandler(a.fd(), IN, note("a")), EventLoopIf::OS_ERROR);
    add(a, note("a"));
    os->failCtl(EPOLL_CTL_MOD, EPERM);
    EXPECT_EQ(loop.updateFdEvents(a.fd(), OUT), EventLoopIf::OS_ERROR);
    os->failWait(EBADF);
    EXPECT_EQ(loop.run(), EventLoopIf::OS_ERROR);
}

}  // namespace
