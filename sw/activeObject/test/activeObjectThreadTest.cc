#include "activeObjectThread.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <quoriaTest/traceCapture.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <system_error>

#include "activeObjectFixture.h"
#include "activeObjectThreadPeer.h"
#include "osFaults.h"

namespace {

using Quoria::ActiveObject::Backend::ActiveObjectThread;
using Peer = Quoria::ActiveObject::Backend::ActiveObjectThreadTestPeer;
using QuoriaTest::TraceCapture;

// An object whose thread has not been started, with the test in the place of its loop.
class ActiveObjectThreadTest : public ActiveObjectFixture {
protected:
    void makeReadable(unsigned int units) {
        Peer::giveEventFd(thread, eventfd(units, EFD_SEMAPHORE | EFD_CLOEXEC | EFD_NONBLOCK));
        ASSERT_NE(Peer::eventFd(thread), -1);
    }
    bool readable() const {
        pollfd fd{Peer::eventFd(thread), POLLIN, 0};
        return ::poll(&fd, 1, 0) == 1;
    }

    ActiveObjectThread thread{"test"};
};

TEST_F(ActiveObjectThreadTest, AnEmptyQueueGivesAnEmptyFunction) {
    EXPECT_FALSE(Peer::dequeue(thread));
}

TEST_F(ActiveObjectThreadTest, FunctionsComeOutOfTheQueueFirstInFirstOut) {
    Peer::enqueue(thread, noting("1"));
    Peer::enqueue(thread, noting("2"));
    Peer::dequeue(thread)();
    Peer::enqueue(thread, noting("3"));
    Peer::dequeue(thread)();
    Peer::dequeue(thread)();
    EXPECT_FALSE(Peer::dequeue(thread));
    EXPECT_EQ(notes(), (Notes{"1", "2", "3"}));
}

TEST_F(ActiveObjectThreadTest, DrainingMovesEachFunctionAtMostOnceOnAverage) {
    constexpr std::size_t kFunctions = 2000;
    for (std::size_t i = 0; i < kFunctions; ++i) {
        Peer::enqueue(thread, [] {});
    }
    std::size_t length = kFunctions;
    std::size_t moved = 0;
    while (Peer::dequeue(thread)) {
        if (Peer::queueLength(thread) != length) {
            length = Peer::queueLength(thread);
            moved += length;  // all that is still stored has moved up
        }
    }
    EXPECT_EQ(length, 0U);
    EXPECT_LE(moved, kFunctions);
}

TEST_F(ActiveObjectThreadTest, WhatIsStillQueuedGoesAfterTheDescriptor) {
    bool wasClosed = false;
    {
        ActiveObjectThread other{"other"};
        const int fd = eventfd(0, EFD_CLOEXEC);
        Peer::giveEventFd(other, fd);
        const auto look = [fd, &wasClosed](const int* token) {
            wasClosed = fcntl(fd, F_GETFD) == -1;
            delete token;
        };
        Peer::enqueue(other, [owned = std::shared_ptr<int>(new int(0), look)] {});
    }
    EXPECT_TRUE(wasClosed);
}

TEST_F(ActiveObjectThreadTest, EachReadinessTakesOneUnitAndRunsOneFunction) {
    makeReadable(2);
    Peer::enqueue(thread, noting("1"));
    Peer::enqueue(thread, noting("2"));
    Peer::handleFdEvent(thread);
    EXPECT_EQ(notes(), Notes{"1"});
    EXPECT_TRUE(readable());
    Peer::handleFdEvent(thread);
    EXPECT_EQ(notes(), (Notes{"1", "2"}));
    EXPECT_FALSE(readable());
}

TEST_F(ActiveObjectThreadTest, AnEmptyFunctionIsTakenAndNotCalled) {
    const TraceCapture trace;
    makeReadable(1);
    Peer::enqueue(thread, {});
    Peer::handleFdEvent(thread);
    EXPECT_EQ(Peer::queueLength(thread), 0U);
    EXPECT_TRUE(trace.events().empty());
}

TEST_F(ActiveObjectThreadTest, AUnitWithoutAFunctionIsHarmless) {
    const TraceCapture trace;
    makeReadable(1);
    Peer::handleFdEvent(thread);
    EXPECT_FALSE(readable());
    EXPECT_TRUE(trace.events().empty());
}

TEST_F(ActiveObjectThreadTest, AFailedReadIsTracedAndTakesNothing) {
    const TraceCapture trace;
    Peer::enqueue(thread, noting("1"));
    Peer::handleFdEvent(thread);
    EXPECT_EQ(trace.messages("ERROR"), Notes{"read failed: Bad file descriptor (9)"});
    EXPECT_EQ(Peer::queueLength(thread), 1U);
    EXPECT_TRUE(notes().empty());
}

TEST_F(ActiveObjectThreadTest, PostingQueuesOneFunctionAndAddsOneUnit) {
    const TraceCapture trace({"ERROR"});
    makeReadable(0);
    thread.scheduleFunction(noting("1"));
    EXPECT_EQ(Peer::queueLength(thread), 1U);
    EXPECT_TRUE(readable());
    Peer::handleFdEvent(thread);
    EXPECT_FALSE(readable());
    EXPECT_EQ(notes(), Notes{"1"});
    EXPECT_TRUE(trace.events().empty());
}

TEST_F(ActiveObjectThreadTest, AFailedWriteIsTracedAndTheFunctionStaysQueued) {
    const TraceCapture trace;
    thread.scheduleFunction(noting("1"));
    EXPECT_EQ(trace.messages("ERROR"), Notes{"write failed: Bad file descriptor (9)"});
    EXPECT_EQ(Peer::queueLength(thread), 1U);
}

TEST_F(ActiveObjectThreadTest, AFunctionWhoseWakeUpFailedRunsWithTheNextOne) {
    thread.scheduleFunction(noting("1"));  // there is no descriptor yet
    ASSERT_TRUE(thread.start(false, {}));
    const Gate ran;
    thread.scheduleFunction([this, ran] {
        note("2");
        ran.open();
    });
    ASSERT_EQ(eventfd_write(Peer::eventFd(thread), 1), 0);  // the wake-up that was lost
    ran.pass();
    EXPECT_EQ(notes(), (Notes{"1", "2"}));
}

TEST_F(ActiveObjectThreadTest, TheThreadMayPostToItselfWhileItIsBeingStarted) {
    const TraceCapture trace;
    const Gate ran;
    ASSERT_TRUE(
        thread.start(false, [this, ran] { thread.scheduleFunction([ran] { ran.open(); }); }));
    ran.pass();
}

// Copying one of these, once armed, posts another function.
struct PostsWhenCopied {
    explicit PostsWhenCopied(std::function<void()> action) : onCopy(std::move(action)) {}
    PostsWhenCopied(const PostsWhenCopied& other) : onCopy(other.onCopy) { onCopy(); }
    PostsWhenCopied& operator=(const PostsWhenCopied&) = delete;
    std::function<void()> onCopy;
};

TEST_F(ActiveObjectThreadTest, CopyingAFunctionMayPostAnother) {
    bool armed = false;
    const PostsWhenCopied copied([this, &armed] {
        if (std::exchange(armed, false)) {
            Peer::enqueue(thread, noting("inner"));
        }
    });
    const std::function<void()> outer = [this, copied] { note("outer"); };
    armed = true;
    Peer::enqueue(thread, outer);
    Peer::dequeue(thread)();
    Peer::dequeue(thread)();
    EXPECT_EQ(notes(), (Notes{"inner", "outer"}));
}

TEST_F(ActiveObjectThreadTest, QueuedFunctionsAreDestroyedWithoutACall) {
    const Gate dropped;
    {
        ActiveObjectThread inner("inner");
        Peer::enqueue(inner,
                      [this, held = std::make_shared<OpensAtEnd>(dropped)] { note("called"); });
    }
    dropped.pass();
    EXPECT_TRUE(notes().empty());
}

TEST_F(ActiveObjectThreadTest, AQueueThatCannotBeLockedThrowsAtThePosterAndAtTheLoop) {
    pthread_mutexattr_t attributes;
    ASSERT_EQ(pthread_mutexattr_init(&attributes), 0);
    ASSERT_EQ(pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_ERRORCHECK), 0);
    pthread_mutex_t* const mutex = Peer::queueMutex(thread);
    ASSERT_EQ(pthread_mutex_init(mutex, &attributes), 0);
    makeReadable(1);
    ASSERT_EQ(pthread_mutex_lock(mutex), 0);  // and locking it again is refused
    const TraceCapture trace;
    EXPECT_THROW(thread.scheduleFunction(noting("1")), std::system_error);
    EXPECT_EQ(trace.messages("TRACE1").size(), 1U) << "the posting is told before anything is done";
    EXPECT_THROW(Peer::handleFdEvent(thread), std::system_error);
    EXPECT_FALSE(readable()) << "a unit may be added for a queued function only";
    ASSERT_EQ(pthread_mutex_unlock(mutex), 0);
    EXPECT_EQ(Peer::queueLength(thread), 0U);
    EXPECT_EQ(pthread_mutexattr_destroy(&attributes), 0);
}

TEST_F(ActiveObjectThreadTest, ABodyThatCannotWatchItsDescriptorReturnsAtOnce) {
    const TraceCapture trace;
    std::thread([this] {
        Peer::main(
            "body", -1, [](int, unsigned int) {}, true, noting("start"));
    }).join();
    EXPECT_EQ(trace.messages("ERROR"), (Notes{"epoll_ctl(ADD) failed: Bad file descriptor (9)",
                                              "Failed to add fd=-1 to the event loop"}));
    EXPECT_EQ(trace.messages("TRACE1").size(), 1U);  // started, but never finished
    EXPECT_TRUE(notes().empty());
    EXPECT_TRUE(OsFaults::setSchedParamCalls().empty());
}

TEST_F(ActiveObjectThreadTest, StoppingTheLoopRemovesTheDescriptorAndStops) {
    const int fd = newDescriptor();
    const int other = newDescriptor();
    EventLoopIf* const loop = EventLoopIf::getInstance();
    ASSERT_EQ(eventfd_write(fd, 1), 0);
    loop->addFdHandler(other, EventLoopIf::EVENT_IN, [](int, unsigned int) {});
    loop->addFdHandler(fd, EventLoopIf::EVENT_IN,
                       [fd](int, unsigned int) { Peer::stopEventLoop(fd); });
    EXPECT_EQ(loop->run(), EventLoopIf::OK);
    EXPECT_EQ(loop->removeFdHandler(fd), EventLoopIf::NOT_FOUND);
    EXPECT_EQ(loop->removeFdHandler(other), EventLoopIf::OK);
}

TEST_F(ActiveObjectThreadTest, StoppingTheLoopWithoutADescriptorOnlyStops) {
    const int fd = newDescriptor();
    EventLoopIf* const loop = EventLoopIf::getInstance();
    ASSERT_EQ(eventfd_write(fd, 1), 0);
    loop->addFdHandler(fd, EventLoopIf::EVENT_IN,
                       [](int, unsigned int) { Peer::stopEventLoop(-1); });
    EXPECT_EQ(loop->run(), EventLoopIf::OK);
    EXPECT_EQ(loop->removeFdHandler(fd), EventLoopIf::OK);
}

}  // namespace
