// What the event loop takes for granted of the kernel.

#include <gtest/gtest.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

#include "doorbell.h"

namespace {

class EpollKernel : public testing::Test {
protected:
    EpollKernel() : epfd(epoll_create1(EPOLL_CLOEXEC)) {}
    ~EpollKernel() override { close(epfd); }

    void watch(int fd, std::uint32_t mask) {
        epoll_event event{};
        event.events = mask;
        event.data.fd = fd;
        ASSERT_EQ(epoll_ctl(epfd, EPOLL_CTL_ADD, fd, &event), 0);
    }
    // How many of the watched descriptors are ready; the first one's events are in `events`.
    int poll(int maxEvents = 3) {
        epoll_event fetched[3]{};
        const int count = epoll_wait(epfd, fetched, maxEvents, 0);
        events = fetched[0].events;
        return count;
    }

    const int epfd;
    std::uint32_t events = 0;
    Doorbell bell;
};

TEST_F(EpollKernel, ALevelTriggeredDescriptorIsReportedUntilItIsRead) {
    watch(bell.fd(), EPOLLIN);
    EXPECT_EQ(poll(), 0);
    bell.ring();
    EXPECT_EQ(poll(), 1);
    EXPECT_EQ(poll(), 1);
    bell.silence();
    EXPECT_EQ(poll(), 0);
}

TEST_F(EpollKernel, ADescriptorThatIsReadyWhenItIsAddedIsReported) {
    bell.ring();
    watch(bell.fd(), EPOLLIN);
    EXPECT_EQ(poll(), 1);
}

TEST_F(EpollKernel, HangUpIsReportedUnaskedAndAgainAndAgain) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    watch(ends[0], EPOLLIN);
    ASSERT_EQ(close(ends[1]), 0);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(poll(), 1);
        EXPECT_EQ(events, static_cast<std::uint32_t>(EPOLLHUP));
    }
    close(ends[0]);
}

TEST_F(EpollKernel, ErrorIsReportedUnasked) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    watch(ends[1], EPOLLIN);
    ASSERT_EQ(close(ends[0]), 0);
    EXPECT_EQ(poll(), 1);
    EXPECT_EQ(events, static_cast<std::uint32_t>(EPOLLERR));
    close(ends[1]);
}

TEST_F(EpollKernel, ReadyDescriptorsThatDoNotFitComeWithLaterWaits) {
    Doorbell bells[4];
    for (Doorbell& each : bells) {
        watch(each.fd(), EPOLLIN);
        each.ring();
    }
    EXPECT_EQ(poll(), 3);
    for (Doorbell& each : bells) {
        each.silence();
    }
    EXPECT_EQ(poll(), 0);
}

TEST_F(EpollKernel, ADescriptorIsTakenOutWithoutAnEventAndWhenItIsClosed) {
    watch(bell.fd(), EPOLLIN);
    bell.ring();
    ASSERT_EQ(epoll_ctl(epfd, EPOLL_CTL_DEL, bell.fd(), nullptr), 0);
    EXPECT_EQ(poll(), 0);
    const int closed = eventfd(1, EFD_CLOEXEC);
    watch(closed, EPOLLIN);
    EXPECT_EQ(poll(), 1);
    ASSERT_EQ(close(closed), 0);
    EXPECT_EQ(poll(), 0);
    EXPECT_EQ(epoll_ctl(epfd, EPOLL_CTL_DEL, closed, nullptr), -1);
    EXPECT_EQ(errno, EBADF);
}

TEST_F(EpollKernel, AClosedDescriptorStaysWatchedWhileADuplicateIsOpen) {
    const int original = eventfd(1, EFD_CLOEXEC);
    const int duplicate = dup(original);
    watch(original, EPOLLIN);
    ASSERT_EQ(close(original), 0);
    EXPECT_EQ(poll(), 1);
    ASSERT_EQ(close(duplicate), 0);
    EXPECT_EQ(poll(), 0);
}

}  // namespace
