#include "eventLoopOsWrapper.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/epoll.h>
#include <unistd.h>

#include <cerrno>

#include "doorbell.h"

namespace {

class EventLoopOsWrapperTest : public testing::Test {
protected:
    EventLoopOsWrapperTest() : epfd(wrapper.epollCreate1(EPOLL_CLOEXEC)) {}
    ~EventLoopOsWrapperTest() override { close(epfd); }

    EventLoopOsWrapper wrapper;
    const int epfd;
    Doorbell bell;
};

TEST_F(EventLoopOsWrapperTest, CreatePassesItsFlagsOn) {
    ASSERT_NE(epfd, -1);
    EXPECT_EQ(fcntl(epfd, F_GETFD), FD_CLOEXEC);
    errno = 0;
    EXPECT_EQ(wrapper.epollCreate1(-1), -1);
    EXPECT_EQ(errno, EINVAL);
}

TEST_F(EventLoopOsWrapperTest, WaitReturnsTheEventsOfWhatCtlHasAdded) {
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.u64 = 4711;
    ASSERT_EQ(wrapper.epollCtl(epfd, EPOLL_CTL_ADD, bell.fd(), &event), 0);
    epoll_event fetched[3]{};
    EXPECT_EQ(wrapper.epollWait(epfd, fetched, 3, 0), 0);
    bell.ring();
    EXPECT_EQ(wrapper.epollWait(epfd, fetched, 3, -1), 1);
    const std::uint64_t data = fetched[0].data.u64;
    EXPECT_EQ(data, 4711U);
}

TEST_F(EventLoopOsWrapperTest, FailuresComeBackWithTheirErrno) {
    epoll_event event{};
    errno = 0;
    EXPECT_EQ(wrapper.epollCtl(epfd, EPOLL_CTL_MOD, bell.fd(), &event), -1);
    EXPECT_EQ(errno, ENOENT);
    errno = 0;
    EXPECT_EQ(wrapper.epollWait(epfd, &event, 0, 0), -1);
    EXPECT_EQ(errno, EINVAL);
}

}  // namespace
