// failingCalls.h: system and itc calls that fail when they are told to.
//
// The program defines these functions itself and so comes before the libraries that have them.
// What is said here holds for one call, of the thread that says it: the tracer's threads are left
// alone. All other calls are the real ones.
#ifndef TRACEWALK_FAILINGCALLS_H
#define TRACEWALK_FAILINGCALLS_H

namespace TraceWalk {

enum class Call {
    NONE,
    EPOLL_CREATE1,
    EPOLL_CTL,
    EPOLL_WAIT,
    EVENTFD,
    READ,   // of eight bytes, as the library's are
    WRITE,  // likewise
    TIMERFD_CREATE,
    TIMERFD_SETTIME,
    ITC_ALLOC,
};

// The next such call fails with that errno, after `skipped` more that do not.
void failNext(Call call, int error, int skipped = 0);

// The next eventfd() returns that descriptor.
void answerNextEventFd(int fd);
// What the last eventfd() has returned.
int lastEventFd();

// The next mailbox of that name is refused to whatever thread creates it. The name must last.
void refuseMailbox(const char* name);

}  // namespace TraceWalk

#endif
