#include "scriptedOsWrapper.h"

#include <cerrno>
#include <utility>

void ScriptedOsWrapper::deliver(const std::vector<Event>& events) {
    waits_.emplace_back([this, events](epoll_event* fetched) {
        for (const Event& event : events) {
            fetched->events = event.events;
            fetched->data.ptr = records_.at(event.fd);
            ++fetched;
        }
        errno = EBADF;  // which means nothing after a call that succeeds
        return static_cast<int>(events.size());
    });
}

void ScriptedOsWrapper::failWait(int error) {
    waits_.emplace_back([error](epoll_event*) {
        errno = error;
        return -1;
    });
}

void ScriptedOsWrapper::interrupt(const std::function<void()>& handler) {
    waits_.emplace_back([handler](epoll_event*) {
        handler();
        errno = EINTR;
        return -1;
    });
}

int ScriptedOsWrapper::epollCreate1(int flags) {
    createFlags.push_back(flags);
    if (createFailure_ != 0) {
        errno = std::exchange(createFailure_, 0);
        return -1;
    }
    return EventLoopOsWrapper::epollCreate1(flags);
}

int ScriptedOsWrapper::epollCtl(int epfd, int op, int fd, epoll_event* event) {
    ctlCalls.push_back({op, fd, event != nullptr, event != nullptr ? event->events : 0,
                        event != nullptr ? event->data.ptr : nullptr});
    const auto failure = ctlFailures_.find(op);
    if (failure != ctlFailures_.end()) {
        errno = failure->second;
        ctlFailures_.erase(failure);
        return -1;
    }
    if (op == EPOLL_CTL_ADD) {
        records_[fd] = event->data.ptr;
    }
    return EventLoopOsWrapper::epollCtl(epfd, op, fd, event);
}

int ScriptedOsWrapper::epollWait(int epfd, epoll_event* events, int maxevents, int timeout) {
    waitCalls.push_back({epfd, maxevents, timeout});
    if (onWait) {
        onWait(waitCalls.size());
    }
    if (waits_.empty()) {
        return EventLoopOsWrapper::epollWait(epfd, events, maxevents, timeout);
    }
    const auto wait = std::move(waits_.front());
    waits_.pop_front();
    return wait(events);
}
