#include "failingCalls.h"

#include <dlfcn.h>
#include <itc.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

namespace TraceWalk {

namespace {

constexpr int kNoFd = -1;

struct Failure {
    Call call = Call::NONE;
    int error = 0;
    int skipped = 0;
};

thread_local Failure failure;
thread_local int eventFdAnswer = kNoFd;
thread_local int eventFdMade = kNoFd;
std::atomic<const char*> refusedMailbox{nullptr};

// Tells whether this call is the one to fail, and sets errno if it is.
bool fails(Call call) {
    if (failure.call != call || failure.skipped-- > 0) {
        return false;
    }
    failure.call = Call::NONE;
    errno = failure.error;
    return true;
}

// The function that would be called if the program did not define it.
template <typename Function>
Function* real(Function*, const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

void failNext(Call call, int error, int skipped) {
    failure = {call, error, skipped};
}

void answerNextEventFd(int fd) {
    eventFdAnswer = fd;
}

int lastEventFd() {
    return eventFdMade;
}

void refuseMailbox(const char* name) {
    refusedMailbox = name;
}

}  // namespace TraceWalk

using TraceWalk::Call;
using TraceWalk::fails;
using TraceWalk::real;

#pragma GCC visibility push(default)

extern "C" {

int epoll_create1(int flags) noexcept {
    return fails(Call::EPOLL_CREATE1) ? -1 : real(&epoll_create1, "epoll_create1")(flags);
}

int epoll_ctl(int epfd, int op, int fd, epoll_event* event) noexcept {
    return fails(Call::EPOLL_CTL) ? -1 : real(&epoll_ctl, "epoll_ctl")(epfd, op, fd, event);
}

int epoll_wait(int epfd, epoll_event* events, int maxevents, int timeout) {
    return fails(Call::EPOLL_WAIT)
               ? -1
               : real(&epoll_wait, "epoll_wait")(epfd, events, maxevents, timeout);
}

int eventfd(unsigned int initialValue, int flags) noexcept {
    if (fails(Call::EVENTFD)) {
        return -1;
    }
    const int answer = std::exchange(TraceWalk::eventFdAnswer, TraceWalk::kNoFd);
    TraceWalk::eventFdMade =
        answer != TraceWalk::kNoFd ? answer : real(&eventfd, "eventfd")(initialValue, flags);
    return TraceWalk::eventFdMade;
}

ssize_t read(int fd, void* buffer, size_t size) {
    return size == sizeof(std::uint64_t) && fails(Call::READ)
               ? -1
               : real(&read, "read")(fd, buffer, size);
}

ssize_t write(int fd, const void* buffer, size_t size) {
    return size == sizeof(std::uint64_t) && fails(Call::WRITE)
               ? -1
               : real(&write, "write")(fd, buffer, size);
}

int timerfd_create(clockid_t clock, int flags) noexcept {
    return fails(Call::TIMERFD_CREATE) ? -1 : real(&timerfd_create, "timerfd_create")(clock, flags);
}

int timerfd_settime(int fd, int flags, const itimerspec* newValue, itimerspec* oldValue) noexcept {
    return fails(Call::TIMERFD_SETTIME)
               ? -1
               : real(&timerfd_settime, "timerfd_settime")(fd, flags, newValue, oldValue);
}

itc_msg* __itc_alloc(uint32_t size, uint32_t msgno, const char* file, int line) {
    return fails(Call::ITC_ALLOC) ? nullptr
                                  : real(&__itc_alloc, "__itc_alloc")(size, msgno, file, line);
}

itc_mbox_id_t __itc_create_mailbox(const char* name, uint32_t flags, const char* file, int line) {
    const char* refused = TraceWalk::refusedMailbox;
    if (refused != nullptr && std::strcmp(name, refused) == 0 &&
        TraceWalk::refusedMailbox.compare_exchange_strong(refused, nullptr)) {
        return ITC_NO_MAILBOX;
    }
    return real(&__itc_create_mailbox, "__itc_create_mailbox")(name, flags, file, line);
}

}  // extern "C"

#pragma GCC visibility pop
