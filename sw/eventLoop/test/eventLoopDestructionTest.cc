#include <quoria/eventLoop/eventLoopIf.h>

#include <fcntl.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <iterator>
#include <thread>

#include "eventLoopFixture.h"

namespace {

namespace fs = std::filesystem;

class EventLoopDestruction : public EventLoopFixture {
protected:
    static bool isOpen(int fd) { return fcntl(fd, F_GETFD) != -1; }
    static std::ptrdiff_t openDescriptors() {
        return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
    }
};

TEST_F(EventLoopDestruction, TheEpollDescriptorIsClosedAndTheOthersAreNot) {
    add(a, note("a"));
    const int epollFd = Peer::epollFd(loop);
    EventLoopImpl::reset();
    EXPECT_FALSE(isOpen(epollFd));
    EXPECT_TRUE(isOpen(a.fd()));
}

TEST_F(EventLoopDestruction, ALoopWithoutAnEpollDescriptorClosesNothing) {
    const auto before = openDescriptors();
    EventLoopImpl::reset();
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(EventLoopDestruction, QueuedFunctionsAreDestroyedWithoutACall) {
    Captured captured;
    loop.scheduleEvent([this, held = captured.release()] { log.push_back("called"); });
    EventLoopImpl::reset();
    EXPECT_FALSE(captured.alive());
    EXPECT_TRUE(log.empty());
}

TEST_F(EventLoopDestruction, RegisteredAndParkedHandlersAreReleased) {
    Captured registered;
    Captured parked;
    add(a, [held = registered.release()](int, unsigned int) {});
    add(b, [held = parked.release()](int, unsigned int) {});
    loop.removeFdHandler(b.fd());
    const std::size_t calls = os->ctlCalls.size();
    EventLoopImpl::reset();
    EXPECT_FALSE(registered.alive());
    EXPECT_FALSE(parked.alive());
    EXPECT_EQ(os->ctlCalls.size(), calls);  // closing the epoll descriptor is removal enough
}

TEST_F(EventLoopDestruction, WhatTheLoopHoldsGoesInOrder) {
    const auto wrapperUsers = os.use_count();
    int epollFd = -1;
    Captured queued([&] {
        log.push_back("queued");
        EXPECT_FALSE(isOpen(epollFd));
    });
    Captured parked([&] { log.push_back("parked"); });
    Captured registered([&] {
        log.push_back("registered");
        EXPECT_EQ(os.use_count(), wrapperUsers);
    });
    add(a, [held = registered.release()](int, unsigned int) {});
    add(b, [held = parked.release()](int, unsigned int) {});
    loop.removeFdHandler(b.fd());
    loop.scheduleEvent([held = queued.release()] {});
    epollFd = Peer::epollFd(loop);
    EventLoopImpl::reset();
    EXPECT_EQ(log, (std::vector<std::string>{"queued", "parked", "registered"}));
    EXPECT_EQ(os.use_count(), wrapperUsers - 1);
}

TEST_F(EventLoopDestruction, TheSystemCallWrapperIsReleased) {
    const auto before = os.use_count();
    EventLoopImpl::reset();
    EXPECT_EQ(os.use_count(), before - 1);
}

TEST_F(EventLoopDestruction, WhatIsDestroyedFindsTheDyingLoopAndItIsEmpty) {
    int destroyed = 0;
    const auto useTheLoop = [&] {
        ++destroyed;
        EXPECT_EQ(EventLoopIf::getInstance(), &loop);
        EXPECT_EQ(loop.removeFdHandler(a.fd()), EventLoopIf::NOT_FOUND);
        EXPECT_EQ(loop.run(), EventLoopIf::OK);
        EXPECT_EQ(loop.stop(), EventLoopIf::OK);
    };
    Captured queued(useTheLoop);
    Captured registered([&] { ++destroyed; });
    Captured parked([&] { ++destroyed; });
    loop.scheduleEvent([held = queued.release()] {});
    add(a, [held = parked.release()](int, unsigned int) {});
    loop.removeFdHandler(a.fd());
    add(b, [held = registered.release()](int, unsigned int) {});
    EventLoopImpl::reset();
    EXPECT_EQ(destroyed, 3);
}

TEST_F(EventLoopDestruction, WhatIsLeftWithTheDyingLoopGoesWithIt) {
    const auto before = openDescriptors();
    Captured later;
    Captured left([&] { loop.scheduleEvent([held = later.release()] {}); });
    Captured captured([&] {
        EXPECT_EQ(loop.addFdHandler(b.fd(), IN, [held = left.release()](int, unsigned int) {}),
                  EventLoopIf::OK);
    });
    add(a, [held = captured.release()](int, unsigned int) {});
    EventLoopImpl::reset();
    EXPECT_FALSE(left.alive());
    EXPECT_FALSE(later.alive());
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(EventLoopDestruction, AFunctionThatSchedulesAsItIsDestroyedLeavesNothingBehind) {
    Captured later;
    Captured captured([&] { loop.scheduleEvent([held = later.release()] {}); });
    loop.scheduleEvent([held = captured.release()] {});
    loop.scheduleEvent(noteDeferred("deferred"));
    EventLoopImpl::reset();
    EXPECT_FALSE(later.alive());
    EXPECT_TRUE(log.empty());
}

TEST_F(EventLoopDestruction, AtTheEndOfTheThreadWhatIsDestroyedGetsANewLoopThatGoesAsWell) {
    Captured late;
    EventLoopIf* found = nullptr;
    EventLoopIf* dying = nullptr;
    std::thread([&] {
        dying = EventLoopIf::getInstance();
        Captured captured([&] {
            found = EventLoopIf::getInstance();
            found->scheduleEvent([held = late.release()] {});
        });
        dying->scheduleEvent([held = captured.release()] {});
    }).join();
    EXPECT_NE(found, nullptr);
    EXPECT_NE(found, dying);
    EXPECT_FALSE(late.alive());
}

}  // namespace
