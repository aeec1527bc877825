#include <quoria/eventLoop/eventLoopIf.h>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <quoriaTest/traceCapture.h>
#include <sys/epoll.h>

#include <cerrno>
#include <thread>

#include "eventLoopFixture.h"

namespace {

using QuoriaTest::TraceCapture;

class EventLoopRegistration : public EventLoopFixture {
protected:
    const ScriptedOsWrapper::CtlCall& lastCtl() const { return os->ctlCalls.back(); }
    EventLoopIf::ReturnCode addFor(unsigned int events) {
        return loop.addFdHandler(a.fd(), events, note("a"));
    }
};

TEST_F(EventLoopRegistration, AddingWatchesForReadingLevelTriggered) {
    ASSERT_EQ(addFor(IN), EventLoopIf::OK);
    EXPECT_EQ(lastCtl().op, EPOLL_CTL_ADD);
    EXPECT_EQ(lastCtl().fd, a.fd());
    EXPECT_EQ(lastCtl().events, static_cast<std::uint32_t>(EPOLLIN));
}

TEST_F(EventLoopRegistration, AddingWatchesForWritingOrForBoth) {
    ASSERT_EQ(addFor(OUT), EventLoopIf::OK);
    EXPECT_EQ(lastCtl().events, static_cast<std::uint32_t>(EPOLLOUT));
    ASSERT_EQ(loop.addFdHandler(b.fd(), 3, note("b")), EventLoopIf::OK);
    EXPECT_EQ(lastCtl().events, static_cast<std::uint32_t>(EPOLLIN | EPOLLOUT));
}

TEST_F(EventLoopRegistration, UnknownEventBitsBesideAKnownOneAreIgnored) {
    ASSERT_EQ(addFor(~2U), EventLoopIf::OK);
    EXPECT_EQ(lastCtl().events, static_cast<std::uint32_t>(EPOLLIN));
}

TEST_F(EventLoopRegistration, TheFirstAddMakesTheEpollDescriptorAndItClosesOnExec) {
    ASSERT_EQ(addFor(IN), EventLoopIf::OK);
    add(b, note("b"));
    EXPECT_EQ(os->createFlags, std::vector<int>{EPOLL_CLOEXEC});
    EXPECT_EQ(fcntl(Peer::epollFd(loop), F_GETFD), FD_CLOEXEC);
}

TEST_F(EventLoopRegistration, TheEpollDescriptorStaysWhenTheLastHandlerGoes) {
    ASSERT_EQ(addFor(IN), EventLoopIf::OK);
    const int epollFd = Peer::epollFd(loop);
    ASSERT_EQ(loop.removeFdHandler(a.fd()), EventLoopIf::OK);
    ASSERT_EQ(addFor(IN), EventLoopIf::OK);
    EXPECT_EQ(Peer::epollFd(loop), epollFd);
    EXPECT_EQ(os->createFlags.size(), 1U);
}

TEST_F(EventLoopRegistration, ASecondHandlerForADescriptorIsRefusedAndTheFirstKept) {
    add(a, note("first"));
    EXPECT_EQ(loop.addFdHandler(a.fd(), IN, note("second")), EventLoopIf::ALREADY_EXISTS);
    os->deliver({{a.fd(), EPOLLIN}});
    EXPECT_EQ(runScript(), EventLoopIf::OK);
    EXPECT_EQ(log, std::vector<std::string>{"first"});
}

TEST_F(EventLoopRegistration, AddingWithoutAKnownEventIsInvalidAndMakesNoEpollDescriptor) {
    EXPECT_EQ(addFor(0), EventLoopIf::INVALID_EVENTS);
    EXPECT_EQ(addFor(4), EventLoopIf::INVALID_EVENTS);
    EXPECT_TRUE(os->createFlags.empty());
    EXPECT_EQ(Peer::epollFd(loop), -1);
}

TEST_F(EventLoopRegistration, ADuplicateIsReportedEvenIfItsEventsAreInvalid) {
    ASSERT_EQ(addFor(IN), EventLoopIf::OK);
    EXPECT_EQ(addFor(0), EventLoopIf::ALREADY_EXISTS);
}

TEST_F(EventLoopRegistration, AFailedEpollCreateIsTracedAndTriedAgainByTheNextAdd) {
    const TraceCapture trace;
    os->failCreate(EMFILE);
    EXPECT_EQ(addFor(IN), EventLoopIf::OS_ERROR);
    EXPECT_EQ(trace.messages("ERROR"),
              std::vector<std::string>{"epoll_create1 failed: Too many open files (24)"});
    EXPECT_EQ(Peer::epollFd(loop), -1);
    EXPECT_TRUE(os->ctlCalls.empty());
    EXPECT_EQ(addFor(IN), EventLoopIf::OK);
    EXPECT_EQ(trace.events().size(), 1U);
}

TEST_F(EventLoopRegistration, AFailedAddIsTracedAndLeavesNoHandlerButTheEpollDescriptor) {
    const TraceCapture trace;
    os->failCtl(EPOLL_CTL_ADD, EPERM);
    EXPECT_EQ(addFor(IN), EventLoopIf::OS_ERROR);
    EXPECT_EQ(trace.messages("ERROR"),
              std::vector<std::string>{"epoll_ctl(ADD) failed: Operation not permitted (1)"});
    EXPECT_NE(Peer::epollFd(loop), -1);
    EXPECT_EQ(loop.removeFdHandler(a.fd()), EventLoopIf::NOT_FOUND);
    EXPECT_EQ(addFor(IN), EventLoopIf::OK);
    EXPECT_EQ(os->createFlags.size(), 1U);
}

TEST_F(EventLoopRegistration, AFailedAddReleasesItsHandler) {
    Captured captured;
    os->failCtl(EPOLL_CTL_ADD, EPERM);
    EXPECT_EQ(loop.addFdHandler(a.fd(), IN, [held = captured.release()](int, unsigned int) {}),
              EventLoopIf::OS_ERROR);
    EXPECT_FALSE(captured.alive());
}

TEST_F(EventLoopRegistration, ADescriptorThatIsNoneFailsInTheKernel) {
    const TraceCapture trace;
    EXPECT_EQ(loop.addFdHandler(-1, IN, note("none")), EventLoopIf::OS_ERROR);
    EXPECT_EQ(trace.count("ERROR", "epoll_ctl(ADD) failed: Bad file descriptor (9)"), 1U);
}

TEST_F(EventLoopRegistration, UpdatingReplacesTheEventsOfTheSameRecord) {
    ASSERT_EQ(addFor(IN), EventLoopIf::OK);
    void* const record = lastCtl().record;
    ASSERT_EQ(loop.updateFdEvents(a.fd(), OUT), EventLoopIf::OK);
    EXPECT_EQ(lastCtl().op, EPOLL_CTL_MOD);
    EXPECT_EQ(lastCtl().fd, a.fd());
    EXPECT_EQ(lastCtl().events, static_cast<std::uint32_t>(EPOLLOUT));
    EXPECT_EQ(lastCtl().record, record);
    os->deliver({{a.fd(), EPOLLIN}});
    os->deliver({{a.fd(), EPOLLOUT}});
    EXPECT_EQ(runScript(), EventLoopIf::OK);
    EXPECT_EQ(log, std::vector<std::string>{"a"});
}

TEST_F(EventLoopRegistration, UpdatingADescriptorWithoutAHandlerFindsNothing) {
    EXPECT_EQ(loop.updateFdEvents(a.fd(), IN), EventLoopIf::NOT_FOUND);
    EXPECT_EQ(loop.updateFdEvents(a.fd(), 0), EventLoopIf::NOT_FOUND);
    EXPECT_TRUE(os->ctlCalls.empty());
}

TEST_F(EventLoopRegistration, UpdatingWithoutAKnownEventIsInvalidAndKeepsTheOldOnes) {
    ASSERT_EQ(addFor(IN), EventLoopIf::OK);
    EXPECT_EQ(loop.updateFdEvents(a.fd(), 0), EventLoopIf::INVALID_EVENTS);
    EXPECT_EQ(loop.updateFdEvents(a.fd(), 4), EventLoopIf::INVALID_EVENTS);
    EXPECT_EQ(os->ctlCalls.size(), 1U);
    os->deliver({{a.fd(), EPOLLIN}});
    EXPECT_EQ(runScript(), EventLoopIf::OK);
    EXPECT_EQ(log, std::vector<std::string>{"a"});
}

TEST_F(EventLoopRegistration, AFailedUpdateIsTracedAndKeepsTheOldEvents) {
    const TraceCapture trace;
    ASSERT_EQ(addFor(IN), EventLoopIf::OK);
    os->failCtl(EPOLL_CTL_MOD, ENOMEM);
    EXPECT_EQ(loop.updateFdEvents(a.fd(), OUT), EventLoopIf::OS_ERROR);
    EXPECT_EQ(trace.messages("ERROR"),
              std::vector<std::string>{"epoll_ctl(MOD) failed: Cannot allocate memory (12)"});
    os->deliver({{a.fd(), EPOLLIN}});
    os->deliver({{a.fd(), EPOLLOUT}});
    EXPECT_EQ(runScript(), EventLoopIf::OK);
    EXPECT_EQ(log, std::vector<std::string>{"a"});
}

TEST_F(EventLoopRegistration, RemovingTakesTheDescriptorOutOfTheKernelAndLeavesItOpen) {
    ASSERT_EQ(addFor(IN), EventLoopIf::OK);
    EXPECT_EQ(loop.removeFdHandler(a.fd()), EventLoopIf::OK);
    EXPECT_EQ(lastCtl().op, EPOLL_CTL_DEL);
    EXPECT_EQ(lastCtl().fd, a.fd());
    EXPECT_FALSE(lastCtl().hasEvent);
    EXPECT_NE(fcntl(a.fd(), F_GETFD), -1);
    EXPECT_EQ(loop.removeFdHandler(a.fd()), EventLoopIf::NOT_FOUND);
}

TEST_F(EventLoopRegistration, RemovingADescriptorWithoutAHandlerFindsNothing) {
    EXPECT_EQ(loop.removeFdHandler(a.fd()), EventLoopIf::NOT_FOUND);
    EXPECT_TRUE(os->ctlCalls.empty());
}

TEST_F(EventLoopRegistration, AFailureToRemoveInTheKernelIsIgnoredAndNotTraced) {
    const TraceCapture trace;
    ASSERT_EQ(addFor(IN), EventLoopIf::OK);
    os->failCtl(EPOLL_CTL_DEL, EBADF);
    EXPECT_EQ(loop.removeFdHandler(a.fd()), EventLoopIf::OK);
    EXPECT_TRUE(trace.events().empty());
    EXPECT_EQ(loop.run(), EventLoopIf::OK);
    EXPECT_TRUE(os->waitCalls.empty());
}

TEST_F(EventLoopRegistration, ADescriptorMayBeRegisteredAgainAfterItsRemoval) {
    add(a, note("old"));
    ASSERT_EQ(loop.removeFdHandler(a.fd()), EventLoopIf::OK);
    add(a, note("new"));
    os->deliver({{a.fd(), EPOLLIN}});
    EXPECT_EQ(runScript(), EventLoopIf::OK);
    EXPECT_EQ(log, std::vector<std::string>{"new"});
}

TEST_F(EventLoopRegistration, AnotherThreadIsRefusedByEveryOperationAndChangesNothing) {
    const TraceCapture trace;
    add(a, note("a"));
    std::thread([this] {
        EXPECT_EQ(loop.addFdHandler(b.fd(), 0, note("b")), EventLoopIf::WRONG_THREAD);
        EXPECT_EQ(loop.addFdHandler(b.fd(), IN, note("b")), EventLoopIf::WRONG_THREAD);
        EXPECT_EQ(loop.updateFdEvents(a.fd(), OUT), EventLoopIf::WRONG_THREAD);
        EXPECT_EQ(loop.removeFdHandler(a.fd()), EventLoopIf::WRONG_THREAD);
        EXPECT_EQ(loop.run(), EventLoopIf::WRONG_THREAD);
        EXPECT_EQ(loop.scheduleEvent(noteDeferred("deferred")), EventLoopIf::WRONG_THREAD);
        EXPECT_EQ(loop.stop(), EventLoopIf::WRONG_THREAD);
    }).join();
    EXPECT_TRUE(trace.events().empty());
    EXPECT_EQ(os->ctlCalls.size(), 1U);
    EXPECT_FALSE(Peer::running(loop));
    os->deliver({{a.fd(), EPOLLIN}});
    EXPECT_EQ(runScript(), EventLoopIf::OK);
    EXPECT_EQ(log, std::vector<std::string>{"a"});
    EXPECT_EQ(loop.removeFdHandler(b.fd()), EventLoopIf::NOT_FOUND);
}

TEST_F(EventLoopRegistration, AnotherThreadIsRefusedBeforeAnythingElseIsLookedAt) {
    std::thread([this] { EXPECT_EQ(loop.run(), EventLoopIf::WRONG_THREAD); }).join();
    add(a, note("a"));
    std::thread([this] {
        EXPECT_EQ(loop.addFdHandler(a.fd(), IN, note("again")), EventLoopIf::WRONG_THREAD);
        EXPECT_EQ(loop.updateFdEvents(b.fd(), IN), EventLoopIf::WRONG_THREAD);
        EXPECT_EQ(loop.updateFdEvents(a.fd(), 0), EventLoopIf::WRONG_THREAD);
        EXPECT_EQ(loop.removeFdHandler(b.fd()), EventLoopIf::WRONG_THREAD);
    }).join();
}

TEST_F(EventLoopRegistration, AnotherThreadCannotStopARunningLoop) {
    add(a, [this](int, unsigned int) {
        std::thread([this] { EXPECT_EQ(loop.stop(), EventLoopIf::WRONG_THREAD); }).join();
        EXPECT_TRUE(Peer::running(loop));
        loop.removeFdHandler(a.fd());
    });
    a.ring();
    EXPECT_EQ(loop.run(), EventLoopIf::OK);
}

}  // namespace
