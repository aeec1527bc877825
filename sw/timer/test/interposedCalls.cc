#include "interposedCalls.h"

#include <dlfcn.h>
#include <quoria/util/export.h>
#include <sys/epoll.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace {

thread_local InterposedCalls* currentCalls = nullptr;

template <typename Function>
Function* next(Function*, const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

InterposedCalls::InterposedCalls() {
    currentCalls = this;
}

InterposedCalls::~InterposedCalls() {
    currentCalls = nullptr;
}

InterposedCalls* InterposedCalls::current() {
    return currentCalls;
}

int InterposedCalls::takeReadError(int fd) {
    if (fd != failingFd_ || readsBeforeError_-- > 0) {
        return 0;
    }
    return std::exchange(readError_, 0);
}

extern "C" {

QUORIA_EXPORT int clock_gettime(clockid_t clock, timespec* now) noexcept {
    InterposedCalls* const calls = InterposedCalls::current();
    if (calls != nullptr && clock == CLOCK_MONOTONIC && calls->clockIsSet()) {
        now->tv_sec = calls->clock() / std::chrono::seconds(1);
        now->tv_nsec = (calls->clock() % std::chrono::seconds(1)).count();
        return 0;
    }
    static const auto real = next(&clock_gettime, "clock_gettime");
    return real(clock, now);
}

QUORIA_EXPORT ssize_t read(int fd, void* buffer, size_t size) {
    InterposedCalls* const calls = InterposedCalls::current();
    const int error = calls != nullptr ? calls->takeReadError(fd) : 0;
    if (error != 0) {
        errno = error;
        return -1;
    }
    static const auto real = next(&read, "read");
    return real(fd, buffer, size);
}

QUORIA_EXPORT int close(int fd) {
    InterposedCalls* const calls = InterposedCalls::current();
    if (calls != nullptr && calls->onCall) {
        calls->onCall("close " + std::to_string(fd));
    }
    static const auto real = next(&close, "close");
    return real(fd);
}

QUORIA_EXPORT int epoll_ctl(int epfd, int op, int fd, epoll_event* event) noexcept {
    InterposedCalls* const calls = InterposedCalls::current();
    if (calls != nullptr && calls->onCall && op != EPOLL_CTL_MOD) {
        calls->onCall(op == EPOLL_CTL_ADD ? "epoll_ctl ADD " + std::to_string(fd) + " for " +
                                                std::to_string(event->events)
                                          : "epoll_ctl DEL " + std::to_string(fd));
    }
    static const auto real = next(&epoll_ctl, "epoll_ctl");
    return real(epfd, op, fd, event);
}

}  // extern "C"
