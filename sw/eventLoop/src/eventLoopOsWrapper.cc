#include "eventLoopOsWrapper.h"

EventLoopOsWrapper::~EventLoopOsWrapper() = default;

int EventLoopOsWrapper::epollCreate1(int flags) {
    return epoll_create1(flags);
}

int EventLoopOsWrapper::epollCtl(int epfd, int op, int fd, epoll_event* event) {
    return epoll_ctl(epfd, op, fd, event);
}

int EventLoopOsWrapper::epollWait(int epfd, epoll_event* events, int maxevents, int timeout) {
    return epoll_wait(epfd, events, maxevents, timeout);
}
