// scriptedOsWrapper.h: the event loop's system calls with their failures and events in a test's
// hands.
//
// Only the loop's thread calls. What the test has scripted happens once, in the order scripted;
// every other call is the real one. All epoll_ctl and epoll_wait calls are recorded.
#ifndef QUORIA_EVENTLOOP_TEST_SCRIPTEDOSWRAPPER_H
#define QUORIA_EVENTLOOP_TEST_SCRIPTEDOSWRAPPER_H

#include <sys/epoll.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <vector>

#include "eventLoopOsWrapper.h"

class ScriptedOsWrapper : public EventLoopOsWrapper {
public:
    struct CtlCall {
        int op;
        int fd;
        bool hasEvent;
        std::uint32_t events;
        void* record;
    };
    struct WaitCall {
        int epfd;
        int maxevents;
        int timeout;
    };
    struct Event {
        int fd;
        std::uint32_t events;
    };

    // The next call fails with that errno.
    void failCreate(int error) { createFailure_ = error; }
    void failCtl(int op, int error) { ctlFailures_[op] = error; }

    // The next wait that has nothing scripted before it returns these events of registered
    // descriptors, nothing at all, or fails.
    void deliver(const std::vector<Event>& events);
    void deliverNothing() { deliver({}); }
    void failWait(int error);
    // It is interrupted by a signal whose handler does that.
    void interrupt(const std::function<void()>& handler);

    // Called at the beginning of every wait with the number of the wait, from 1.
    std::function<void(std::size_t)> onWait;

    std::vector<int> createFlags;
    std::vector<CtlCall> ctlCalls;
    std::vector<WaitCall> waitCalls;

    int epollCreate1(int flags) override;
    int epollCtl(int epfd, int op, int fd, epoll_event* event) override;
    int epollWait(int epfd, epoll_event* events, int maxevents, int timeout) override;

private:
    int createFailure_ = 0;
    std::map<int, int> ctlFailures_;
    std::map<int, void*> records_;
    std::deque<std::function<int(epoll_event*)>> waits_;
};

#endif
