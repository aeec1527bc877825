#include "timerManagerOsWrapper.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>

namespace {

using Quoria::Timer::V1::TimerManagerOsWrapper;

TEST(TimerManagerOsWrapper, CreatesADescriptorWithTheFlagsGiven) {
    TimerManagerOsWrapper os;
    const int plain = os.timerfdCreate(CLOCK_MONOTONIC, 0);
    const int flagged = os.timerfdCreate(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
    EXPECT_EQ(fcntl(plain, F_GETFD), 0);
    EXPECT_EQ(fcntl(plain, F_GETFL) & O_NONBLOCK, 0);
    EXPECT_EQ(fcntl(flagged, F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(fcntl(flagged, F_GETFL) & O_NONBLOCK, O_NONBLOCK);
    close(plain);
    close(flagged);
}

TEST(TimerManagerOsWrapper, AFailedCreateReturnsTheCallsResultAndErrno) {
    TimerManagerOsWrapper os;
    errno = 0;
    EXPECT_EQ(os.timerfdCreate(-1, 0), -1);
    EXPECT_EQ(errno, EINVAL);
}

TEST(TimerManagerOsWrapper, SetsTheTimerAndReturnsItsOldValue) {
    TimerManagerOsWrapper os;
    const int fd = os.timerfdCreate(CLOCK_MONOTONIC, 0);
    itimerspec relative{};
    relative.it_value.tv_sec = 3600;
    relative.it_interval.tv_sec = 7;
    EXPECT_EQ(os.timerfdSettime(fd, 0, &relative, nullptr), 0);
    itimerspec absolute{};
    absolute.it_value.tv_nsec = 1;  // long ago
    itimerspec old{};
    EXPECT_EQ(os.timerfdSettime(fd, TFD_TIMER_ABSTIME, &absolute, &old), 0);
    EXPECT_EQ(old.it_interval.tv_sec, 7);
    EXPECT_GT(old.it_value.tv_sec, 0);
    std::uint64_t expirations = 0;
    EXPECT_EQ(read(fd, &expirations, sizeof expirations), 8);
    close(fd);
}

TEST(TimerManagerOsWrapper, AFailedSettimeReturnsTheCallsResultAndErrno) {
    TimerManagerOsWrapper os;
    const itimerspec disarmed{};
    errno = 0;
    EXPECT_EQ(os.timerfdSettime(-1, 0, &disarmed, nullptr), -1);
    EXPECT_EQ(errno, EBADF);
}

}  // namespace
