// What active objects take for granted of the kernel.

#include <gtest/gtest.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <thread>

namespace {

class EventFdKernel : public testing::Test {
protected:
    EventFdKernel()
        : fd(eventfd(0, EFD_SEMAPHORE | EFD_CLOEXEC | EFD_NONBLOCK)),
          epfd(epoll_create1(EPOLL_CLOEXEC)) {
        epoll_event event{};
        event.events = EPOLLIN;
        EXPECT_EQ(epoll_ctl(epfd, EPOLL_CTL_ADD, fd, &event), 0);
    }
    ~EventFdKernel() override {
        close(epfd);
        close(fd);
    }

    void post() {
        const std::uint64_t one = 1;
        ASSERT_EQ(write(fd, &one, sizeof(one)), static_cast<ssize_t>(sizeof(one)));
    }
    std::uint64_t take() {
        std::uint64_t units = 0;
        EXPECT_EQ(read(fd, &units, sizeof(units)), static_cast<ssize_t>(sizeof(units)));
        return units;
    }
    bool ready(int timeout = 0) {
        epoll_event event{};
        return epoll_wait(epfd, &event, 1, timeout) == 1;
    }

    const int fd;
    const int epfd;
};

TEST_F(EventFdKernel, InSemaphoreModeEachReadTakesExactlyOneUnit) {
    post();
    post();
    EXPECT_EQ(take(), 1U);
    EXPECT_EQ(take(), 1U);
    std::uint64_t units = 0;
    EXPECT_EQ(read(fd, &units, sizeof(units)), -1);
    EXPECT_EQ(errno, EAGAIN);
}

TEST_F(EventFdKernel, LevelTriggeredEpollReportsItUntilTheLastUnitIsTaken) {
    EXPECT_FALSE(ready());
    post();
    post();
    EXPECT_TRUE(ready());
    EXPECT_TRUE(ready());
    take();
    EXPECT_TRUE(ready());
    take();
    EXPECT_FALSE(ready());
}

TEST_F(EventFdKernel, AWriteOnAnotherThreadEndsTheWait) {
    std::thread poster([this] { post(); });
    EXPECT_TRUE(ready(-1));
    poster.join();
}

TEST_F(EventFdKernel, EventFdsCannotBeWrittenThroughAClosedDescriptor) {
    const int closed = eventfd(0, EFD_CLOEXEC);
    ASSERT_EQ(close(closed), 0);
    const std::uint64_t one = 1;
    EXPECT_EQ(write(closed, &one, sizeof(one)), -1);
    EXPECT_EQ(errno, EBADF);
}

}  // namespace
