// simulatedTimerFd.h: a timer descriptor that goes by a test's clock.
//
// Only the test's thread calls. The descriptor is an eventfd, which becomes readable when the clock
// reaches the time that it is armed for and, like a timerfd, not readable again when it is set.
// Every call is recorded, failed ones included.
#ifndef QUORIA_TIMER_TEST_SIMULATEDTIMERFD_H
#define QUORIA_TIMER_TEST_SIMULATEDTIMERFD_H

#include <chrono>
#include <functional>
#include <optional>
#include <vector>

#include "interposedCalls.h"
#include "timerManagerOsWrapper.h"

class SimulatedTimerFd : public Quoria::Timer::V1::TimerManagerOsWrapper {
public:
    struct CreateCall {
        int clockid;
        int flags;
    };
    struct SettimeCall {
        int fd;
        int flags;
        itimerspec value;
        const itimerspec* oldValue;
    };

    explicit SimulatedTimerFd(InterposedCalls& calls) : calls_(calls) {}

    int timerfdCreate(int clockid, int flags) override;
    int timerfdSettime(int fd, int flags, const itimerspec* newValue,
                       itimerspec* oldValue) override;

    // The next call fails with that errno; the next settime after `skipped` successful ones does.
    void failCreate(int error) { createError_ = error; }
    void failSettime(int error, int skipped = 0) {
        settimeError_ = error;
        settimesBeforeError_ = skipped;
    }
    // The next create returns this descriptor instead of one of its own.
    void createReturns(int fd) { nextFd_ = fd; }

    // Tells that the clock has been set.
    void clockHasMoved();
    // Makes the descriptor readable whatever the clock says.
    void ring();
    bool readable() const;

    int fd() const { return fd_; }
    // The time that the last settime was for; nothing if that disarmed.
    std::optional<std::chrono::nanoseconds> lastArmedFor() const;

    std::vector<CreateCall> createCalls;
    std::vector<SettimeCall> settimeCalls;
    // Called with the descriptor when it is disarmed.
    std::function<void(int)> onDisarm;

private:
    void silence();

    InterposedCalls& calls_;
    int fd_ = -1;
    std::optional<std::chrono::nanoseconds> armedFor_;
    int createError_ = 0;
    int settimeError_ = 0;
    int settimesBeforeError_ = 0;
    std::optional<int> nextFd_;
};

#endif
