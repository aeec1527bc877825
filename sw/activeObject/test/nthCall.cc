#include "nthCall.h"

#include <dlfcn.h>
#include <sys/epoll.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstring>

namespace NthCall {

namespace {

std::atomic<const char*> armed{nullptr};
std::atomic<int> remaining{0};
std::atomic<int> failure{0};
std::atomic<int> removal{-1};

// Tells whether this call is the one to fail, and sets errno if it is.
bool fails(const char* function) {
    const char* const name = armed;
    if (name == nullptr || std::strcmp(name, function) != 0 || --remaining != 0) {
        return false;
    }
    errno = failure;
    return true;
}

template <typename Function>
Function* real(Function*, const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

void fail(const char* function, int n, int error) {
    failure = error;
    remaining = n;
    armed = function;
}

int lastRemoval() {
    return removal;
}

bool disarm() {
    armed = nullptr;
    return remaining <= 0;
}

}  // namespace NthCall

using NthCall::fails;
using NthCall::real;

#pragma GCC visibility push(default)

extern "C" {

int epoll_create1(int flags) noexcept {
    return fails("epoll_create1") ? -1 : real(&epoll_create1, "epoll_create1")(flags);
}

int epoll_ctl(int epfd, int op, int fd, epoll_event* event) noexcept {
    const auto realCall = real(&epoll_ctl, "epoll_ctl");
    if (op == EPOLL_CTL_DEL) {
        const int result = realCall(epfd, op, fd, event);
        NthCall::removal = result;
        return fails("epoll_ctl") ? -1 : result;
    }
    return fails("epoll_ctl") ? -1 : realCall(epfd, op, fd, event);
}

int epoll_wait(int epfd, epoll_event* events, int maxevents, int timeout) {
    return fails("epoll_wait") ? -1
                               : real(&epoll_wait, "epoll_wait")(epfd, events, maxevents, timeout);
}

ssize_t read(int fd, void* buffer, size_t size) {
    return size == sizeof(std::uint64_t) && fails("read") ? -1
                                                          : real(&read, "read")(fd, buffer, size);
}

ssize_t write(int fd, const void* buffer, size_t size) {
    const ssize_t result = real(&write, "write")(fd, buffer, size);
    return size == sizeof(std::uint64_t) && fails("write") ? -1 : result;
}

}  // extern "C"

#pragma GCC visibility pop
