// What the timer manager and its simulated descriptor take for granted about the real one.

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <ctime>

namespace {

using std::chrono::nanoseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;

class TimerfdKernel : public testing::Test {
protected:
    TimerfdKernel() : fd(timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC)) {}
    ~TimerfdKernel() override { close(fd); }

    int armFor(nanoseconds time) {
        itimerspec value{};
        value.it_value.tv_sec = time / seconds(1);
        value.it_value.tv_nsec = (time % seconds(1)).count();
        return timerfd_settime(fd, TFD_TIMER_ABSTIME, &value, nullptr);
    }
    int disarm() { return armFor(nanoseconds(0)); }
    void awaitReadable() {
        pollfd state{fd, POLLIN, 0};
        EXPECT_EQ(poll(&state, 1, -1), 1);
    }
    bool readable() {
        pollfd state{fd, POLLIN, 0};
        return poll(&state, 1, 0) == 1;
    }
    ssize_t readCount() {
        std::uint64_t expirations = 0;
        return read(fd, &expirations, sizeof expirations);
    }
    itimerspec remaining() {
        itimerspec value{};
        EXPECT_EQ(timerfd_gettime(fd, &value), 0);
        return value;
    }

    const int fd;
};

TEST_F(TimerfdKernel, ATimeInThePastMakesItReadable) {
    ASSERT_EQ(armFor(steady_clock::now().time_since_epoch() - seconds(1)), 0);
    awaitReadable();
    EXPECT_EQ(readCount(), 8);
}

TEST_F(TimerfdKernel, TheFirstNanosecondOfTheClockIsSuchATime) {
    ASSERT_EQ(armFor(nanoseconds(1)), 0);
    awaitReadable();
}

TEST_F(TimerfdKernel, ReadingMakesItNotReadableUntilItIsSetAgain) {
    ASSERT_EQ(armFor(nanoseconds(1)), 0);
    awaitReadable();
    ASSERT_EQ(readCount(), 8);
    EXPECT_FALSE(readable());
    EXPECT_EQ(readCount(), -1);
    EXPECT_EQ(errno, EAGAIN);
    ASSERT_EQ(armFor(nanoseconds(1)), 0);
    awaitReadable();
}

TEST_F(TimerfdKernel, DisarmingTakesBackAnExpiryThatHasNotBeenRead) {
    ASSERT_EQ(armFor(nanoseconds(1)), 0);
    awaitReadable();
    ASSERT_EQ(disarm(), 0);
    EXPECT_FALSE(readable());
    EXPECT_EQ(readCount(), -1);
    EXPECT_EQ(errno, EAGAIN);
}

TEST_F(TimerfdKernel, SettingItForLaterTakesBackAnExpiryThatHasNotBeenRead) {
    ASSERT_EQ(armFor(nanoseconds(1)), 0);
    awaitReadable();
    ASSERT_EQ(armFor(steady_clock::now().time_since_epoch() + std::chrono::hours(1)), 0);
    EXPECT_FALSE(readable());
}

TEST_F(TimerfdKernel, ATimeOfZeroDisarms) {
    ASSERT_EQ(armFor(steady_clock::now().time_since_epoch() + std::chrono::hours(1)), 0);
    ASSERT_EQ(disarm(), 0);
    EXPECT_EQ(remaining().it_value.tv_sec, 0);
    EXPECT_EQ(remaining().it_value.tv_nsec, 0);
}

TEST_F(TimerfdKernel, ATimeBeforeTheStartOfTheClockIsRefused) {
    EXPECT_EQ(armFor(seconds(-1)), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(armFor(nanoseconds(-1)), -1);
    EXPECT_EQ(errno, EINVAL);
}

TEST_F(TimerfdKernel, TheEndOfTimeIsFarAway) {
    ASSERT_EQ(armFor(nanoseconds::max()), 0);
    EXPECT_FALSE(readable());
    EXPECT_GT(remaining().it_value.tv_sec, 3'000'000'000);
}

TEST_F(TimerfdKernel, SteadyClockIsTheClockOfTheDescriptor) {
    timespec monotonic{};
    const auto before = steady_clock::now().time_since_epoch();
    ASSERT_EQ(clock_gettime(CLOCK_MONOTONIC, &monotonic), 0);
    const auto after = steady_clock::now().time_since_epoch();
    const auto now = seconds(monotonic.tv_sec) + nanoseconds(monotonic.tv_nsec);
    EXPECT_LE(before, now);
    EXPECT_LE(now, after);
}

}  // namespace
