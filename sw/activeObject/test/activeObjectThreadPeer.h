// activeObjectThreadPeer.h: the inner operations of an active object's thread, for its tests.
//
// As for ActiveObjectThread; what reaches into the queue is for objects whose thread is not
// running.
#ifndef QUORIA_ACTIVEOBJECT_TEST_ACTIVEOBJECTTHREADPEER_H
#define QUORIA_ACTIVEOBJECT_TEST_ACTIVEOBJECTTHREADPEER_H

#include <pthread.h>

#include <functional>
#include <string>

#include "activeObjectThread.h"

namespace Quoria::ActiveObject::Backend {

class ActiveObjectThreadTestPeer {
public:
    static void main(const std::string& name, int eventFd,
                     const std::function<void(int, unsigned int)>& fdHandler, bool realTime,
                     const std::function<void()>& startFunction) {
        ActiveObjectThread::main(name, eventFd, fdHandler, realTime, startFunction);
    }
    static void stopEventLoop(int fd) { ActiveObjectThread::stopEventLoop(fd); }
    static void enqueue(ActiveObjectThread& thread, const std::function<void()>& function) {
        thread.enqueueFunction(function);
    }
    static std::function<void()> dequeue(ActiveObjectThread& thread) {
        return thread.dequeueFunction();
    }
    static void handleFdEvent(ActiveObjectThread& thread) { thread.handleFdEvent(); }
    static std::size_t queueLength(const ActiveObjectThread& thread) {
        return thread.functionQueue.size();
    }
    static int eventFd(const ActiveObjectThread& thread) { return thread.eventFd; }
    // The object takes over the descriptor.
    static void giveEventFd(ActiveObjectThread& thread, int eventFd) { thread.eventFd = eventFd; }
    static pthread_mutex_t* queueMutex(ActiveObjectThread& thread) {
        return thread.queueMutex.native_handle();
    }
};

}  // namespace Quoria::ActiveObject::Backend

#endif
