#include "simulatedTimerFd.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/eventfd.h>

#include <cerrno>
#include <utility>

namespace {

using std::chrono::nanoseconds;
using std::chrono::seconds;

std::optional<nanoseconds> timeOf(const itimerspec& value) {
    const nanoseconds time = seconds(value.it_value.tv_sec) + nanoseconds(value.it_value.tv_nsec);
    return time == nanoseconds(0) ? std::nullopt : std::optional(time);
}

}  // namespace

int SimulatedTimerFd::timerfdCreate(int clockid, int flags) {
    createCalls.push_back({clockid, flags});
    if (createError_ != 0) {
        errno = std::exchange(createError_, 0);
        return -1;
    }
    fd_ = nextFd_ ? *std::exchange(nextFd_, std::nullopt) : eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    return fd_;
}

int SimulatedTimerFd::timerfdSettime(int fd, int flags, const itimerspec* newValue,
                                     itimerspec* oldValue) {
    settimeCalls.push_back({fd, flags, *newValue, oldValue});
    if (settimeError_ != 0 && settimesBeforeError_-- == 0) {
        errno = std::exchange(settimeError_, 0);
        return -1;
    }
    if (newValue->it_value.tv_sec < 0 || newValue->it_value.tv_nsec < 0) {
        errno = EINVAL;
        return -1;
    }
    armedFor_ = timeOf(*newValue);
    if (!armedFor_ && onDisarm) {
        onDisarm(fd);
    }
    silence();
    clockHasMoved();
    return 0;
}

void SimulatedTimerFd::clockHasMoved() {
    if (armedFor_ && *armedFor_ <= calls_.clock()) {
        armedFor_.reset();
        ring();
    }
}

void SimulatedTimerFd::ring() {
    EXPECT_EQ(eventfd_write(fd_, 1), 0);
}

bool SimulatedTimerFd::readable() const {
    pollfd state{fd_, POLLIN, 0};
    return poll(&state, 1, 0) == 1 && state.revents == POLLIN;
}

std::optional<nanoseconds> SimulatedTimerFd::lastArmedFor() const {
    return timeOf(settimeCalls.back().value);
}

void SimulatedTimerFd::silence() {
    eventfd_t rings = 0;
    eventfd_read(fd_, &rings);  // fails if it is silent, which is as good
}
