// eventLoopOsWrapper.h: the system calls of the event loop, replaceable one by one.
//
// Private header of eventLoop.
//
// Any thread may call; the loop that made the wrapper shares its ownership with nobody but tests.
#ifndef QUORIA_EVENTLOOP_EVENTLOOPOSWRAPPER_H
#define QUORIA_EVENTLOOP_EVENTLOOPOSWRAPPER_H

#include <sys/epoll.h>

// Each operation returns the result of the call that it is named after, and leaves errno as that
// call has set it.
class EventLoopOsWrapper {
public:
    EventLoopOsWrapper() = default;
    EventLoopOsWrapper(const EventLoopOsWrapper&) = delete;
    EventLoopOsWrapper& operator=(const EventLoopOsWrapper&) = delete;

    virtual ~EventLoopOsWrapper();
    virtual int epollCreate1(int flags);
    virtual int epollCtl(int epfd, int op, int fd, epoll_event* event);
    virtual int epollWait(int epfd, epoll_event* events, int maxevents, int timeout);
};

#endif
