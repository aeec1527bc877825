// activeObjectThread.h: the thread of an active object and the queue of functions posted to it.
//
// Private header of activeObject.
//
// Any thread may post with scheduleFunction(). A poster appends to the queue first and adds one to
// the wake-up descriptor second; the descriptor counts in semaphore mode, so the thread's loop
// calls handleFdEvent() once per unit, and each call takes one function.
//
// The thread and its loop know the object by a bare pointer only. Destruction on another thread
// joins the thread first. Destruction on the thread itself, in a posted function, takes the handler
// out of the loop before it goes, and nothing on the way back to the loop touches the object any
// more.
#ifndef QUORIA_ACTIVEOBJECT_ACTIVEOBJECTTHREAD_H
#define QUORIA_ACTIVEOBJECT_ACTIVEOBJECTTHREAD_H

#include <atomic>
#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace Quoria::ActiveObject::Backend {

class ActiveObjectThread {
public:
    explicit ActiveObjectThread(const std::string& name);
    ~ActiveObjectThread();
    ActiveObjectThread(const ActiveObjectThread&) = delete;
    ActiveObjectThread& operator=(const ActiveObjectThread&) = delete;

    // Starts the thread and returns without waiting for it; to be called once. False if the wake-up
    // descriptor can't be made: there is no thread then.
    bool start(bool realTime, const std::function<void()>& startFunction);

    void scheduleFunction(const std::function<void()>& function);

private:
    friend class ActiveObjectThreadTestPeer;

    static void main(const std::string& name, int eventFd,
                     const std::function<void(int, unsigned int)>& fdHandler, bool realTime,
                     const std::function<void()>& startFunction);
    static void stopEventLoop(int fd);

    void enqueueFunction(const std::function<void()>& function);
    std::function<void()> dequeueFunction();
    void handleFdEvent();

    const std::string name;
    std::thread thread;
    int eventFd;
    std::mutex queueMutex;
    std::vector<std::function<void()>> functionQueue;
    std::size_t oldestFunction;             // index into functionQueue; those before it are taken
    std::atomic<std::thread::id> tracedId;  // of `thread`, for who posts while start() sets that
};

}  // namespace Quoria::ActiveObject::Backend

#endif
