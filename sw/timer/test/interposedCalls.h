// interposedCalls.h: the calls that a timer manager makes past its wrapper, in a test's hands.
//
// The test program defines these libc functions itself. While an InterposedCalls exists they do
// what it says on the thread that made it, which alone may use it; otherwise they are the real
// ones.
#ifndef QUORIA_TIMER_TEST_INTERPOSEDCALLS_H
#define QUORIA_TIMER_TEST_INTERPOSEDCALLS_H

#include <chrono>
#include <functional>
#include <string>

class InterposedCalls {
public:
    InterposedCalls();
    ~InterposedCalls();
    InterposedCalls(const InterposedCalls&) = delete;
    InterposedCalls& operator=(const InterposedCalls&) = delete;

    // The monotonic clock stands at `now` until it is set again.
    void setClock(std::chrono::nanoseconds now) { now_ = now; }
    std::chrono::nanoseconds clock() const { return now_; }
    // The next read() of `fd` after `skipped` others fails with that errno.
    void failRead(int fd, int error, int skipped = 0) {
        failingFd_ = fd;
        readError_ = error;
        readsBeforeError_ = skipped;
    }
    // Called with "close <fd>", "epoll_ctl ADD <fd> for <events>" and "epoll_ctl DEL <fd>" before
    // the call is made.
    std::function<void(const std::string&)> onCall;

    // For the functions themselves.
    static InterposedCalls* current();
    bool clockIsSet() const { return now_ != kNotSet; }
    int takeReadError(int fd);

private:
    static constexpr auto kNotSet = std::chrono::nanoseconds::min();

    std::chrono::nanoseconds now_ = kNotSet;
    int failingFd_ = -1;
    int readError_ = 0;
    int readsBeforeError_ = 0;
};

#endif
