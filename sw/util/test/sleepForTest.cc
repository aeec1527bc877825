// The test program defines nanosleep() and clock_gettime() itself, so that no test has to wait.

#include <quoria/util/sleepFor.h>

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <quoria/util/export.h>
#include <time.h>

#include <cerrno>
#include <chrono>
#include <deque>
#include <vector>

namespace {

using namespace std::chrono_literals;
using Quoria::Util::sleepFor;
using std::chrono::nanoseconds;

struct Sleep {
    timespec request;
    bool remainderGoesToRequest;
};
struct Interruption {
    int error;
    timespec remaining;
};

// While one exists, the calls of its thread are its own.
struct FakeTime {
    FakeTime();
    ~FakeTime();
    FakeTime(const FakeTime&) = delete;
    FakeTime& operator=(const FakeTime&) = delete;

    std::vector<Sleep> sleeps;
    std::deque<Interruption> interruptions;  // of the sleeps to come
    int clockReadings = 0;
    nanoseconds now = 1000s;
    nanoseconds perReading = 0ns;  // by which the clock goes on after each reading
};

thread_local FakeTime* fakeTime = nullptr;

FakeTime::FakeTime() {
    fakeTime = this;
}
FakeTime::~FakeTime() {
    fakeTime = nullptr;
}

template <typename Function>
Function* next(Function*, const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" {

QUORIA_EXPORT int nanosleep(const timespec* request, timespec* remaining) {
    if (fakeTime == nullptr) {
        static const auto real = next(&nanosleep, "nanosleep");
        return real(request, remaining);
    }
    fakeTime->sleeps.push_back({*request, remaining == request});
    if (fakeTime->interruptions.empty()) {
        return 0;
    }
    const Interruption interruption = fakeTime->interruptions.front();
    fakeTime->interruptions.pop_front();
    *remaining = interruption.remaining;
    errno = interruption.error;
    return -1;
}

QUORIA_EXPORT int clock_gettime(clockid_t clock, timespec* now) noexcept {
    if (fakeTime == nullptr || clock != CLOCK_MONOTONIC) {
        static const auto real = next(&clock_gettime, "clock_gettime");
        return real(clock, now);
    }
    ++fakeTime->clockReadings;
    now->tv_sec = fakeTime->now / 1s;
    now->tv_nsec = (fakeTime->now % 1s).count();
    fakeTime->now += fakeTime->perReading;
    return 0;
}

}  // extern "C"

namespace {

void expectSleep(const Sleep& sleep, time_t wholeSeconds, long rest) {
    EXPECT_EQ(sleep.request.tv_sec, wholeSeconds);
    EXPECT_EQ(sleep.request.tv_nsec, rest);
    EXPECT_TRUE(sleep.remainderGoesToRequest);
}

TEST(SleepFor, OneMillisecondIsSleptInTheKernel) {
    FakeTime time;
    sleepFor(1'000'000ns);
    EXPECT_EQ(time.clockReadings, 0);
    ASSERT_EQ(time.sleeps.size(), 1U);
    expectSleep(time.sleeps[0], 0, 1'000'000);
}

TEST(SleepFor, OneNanosecondLessIsSpent) {
    FakeTime time;
    time.perReading = 100'000ns;
    sleepFor(999'999ns);
    EXPECT_TRUE(time.sleeps.empty());
    EXPECT_EQ(time.clockReadings, 11);
}

TEST(SleepFor, SpinningEndsWithTheFirstReadingThatIsNotBeforeTheDeadline) {
    FakeTime time;
    time.perReading = 100ns;
    sleepFor(300ns);
    EXPECT_EQ(time.clockReadings, 4);
}

TEST(SleepFor, ZeroTakesOneClockComparison) {
    FakeTime time;
    sleepFor(0ns);
    EXPECT_TRUE(time.sleeps.empty());
    EXPECT_EQ(time.clockReadings, 2);
}

TEST(SleepFor, ANegativeDurationTakesOneClockComparison) {
    FakeTime time;
    sleepFor(-1ns);
    EXPECT_EQ(time.clockReadings, 2);
    sleepFor(-2s);
    EXPECT_EQ(time.clockReadings, 4);
    EXPECT_TRUE(time.sleeps.empty());
}

TEST(SleepFor, TheMostNegativeDurationTakesOneClockComparison) {
    FakeTime time;
    time.now = 0ns;
    sleepFor(nanoseconds::min());
    EXPECT_EQ(time.clockReadings, 2);
}

TEST(SleepFor, SecondsAndNanosecondsArePassedApart) {
    FakeTime time;
    sleepFor(3s + 7ns);
    ASSERT_EQ(time.sleeps.size(), 1U);
    expectSleep(time.sleeps[0], 3, 7);
}

TEST(SleepFor, TheLongestDurationIsSleptWhole) {
    FakeTime time;
    sleepFor(nanoseconds::max());
    ASSERT_EQ(time.sleeps.size(), 1U);
    expectSleep(time.sleeps[0], 9'223'372'036, 854'775'807);
}

TEST(SleepFor, AnInterruptedSleepGoesOnWithWhatRemains) {
    FakeTime time;
    time.interruptions = {{EINTR, {2, 5}}, {EINTR, {0, 9}}};
    sleepFor(3s);
    ASSERT_EQ(time.sleeps.size(), 3U);
    expectSleep(time.sleeps[0], 3, 0);
    expectSleep(time.sleeps[1], 2, 5);
    expectSleep(time.sleeps[2], 0, 9);
}

TEST(SleepFor, AnyOtherFailureEndsTheSleep) {
    FakeTime time;
    time.interruptions = {{EINVAL, {2, 5}}};
    sleepFor(3s);
    EXPECT_EQ(time.sleeps.size(), 1U);
}

TEST(SleepFor, ARealSleepIsNotTooShort) {
    const auto start = std::chrono::steady_clock::now();
    sleepFor(2ms);
    EXPECT_GE(std::chrono::steady_clock::now(), start + 2ms);
}

TEST(SleepFor, ARealSpinIsNotTooShort) {
    const auto start = std::chrono::steady_clock::now();
    sleepFor(50us);
    EXPECT_GE(std::chrono::steady_clock::now(), start + 50us);
}

}  // namespace
