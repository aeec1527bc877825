// eventLoopIf.h: the one place where a thread waits.
//
// Public header.
//
// Every thread has a loop of its own, made on first use and destroyed with the thread. Only that
// thread, the owner, may use it: any other gets WRONG_THREAD from every operation and changes
// nothing. All callbacks and deferred functions run on the owner, inside run(), one at a time, and
// may call any operation of their loop. To reach a loop from another thread, write to a descriptor
// that it watches.
#ifndef QUORIA_EVENTLOOP_EVENTLOOPIF_H
#define QUORIA_EVENTLOOP_EVENTLOOPIF_H

#include <quoria/util/export.h>

#include <functional>

namespace Quoria::EventLoop::V1 {

class QUORIA_EXPORT EventLoopIf {
public:
    enum ReturnCode : unsigned int {
        OK = 0,
        ALREADY_EXISTS = 1,  // the descriptor has a handler
        NOT_FOUND = 2,       // the descriptor has no handler
        INVALID_EVENTS = 3,  // neither EVENT_IN nor EVENT_OUT is in the set
        WRONG_THREAD = 4,    // the caller is not the owner
        OS_ERROR = 5         // a system call failed; an ERROR trace event says which and why
    };

    // What a descriptor is watched for, joined with |. There is no bit for errors and hang-ups:
    // these are never delivered on their own, and a descriptor in such a state that is not readable
    // or writable as well keeps the loop awake for nothing until its handler is removed.
    enum Event : unsigned int {
        EVENT_IN = 1,  // readable
        EVENT_OUT = 2  // writable
    };

    // The calling thread's loop, made now if there is none; never null. It stays valid until the
    // thread ends.
    // Thread: any
    static EventLoopIf* getInstance();

    EventLoopIf(const EventLoopIf&) = delete;
    EventLoopIf& operator=(const EventLoopIf&) = delete;

    // Watches `fd` for `events` and calls a copy of `handler` with `fd` and the events that hold,
    // again and again for as long as they hold. The first call comes from the loop's next wait, not
    // before. The copy lives until the handler is removed and no call of it is under way. The loop
    // never closes `fd`; remove the handler before you do, or a duplicate of the descriptor in this
    // or another process keeps the old registration alive in the kernel. Returns ALREADY_EXISTS
    // (the first handler stays), INVALID_EVENTS or OS_ERROR. An empty handler is accepted and
    // throws std::bad_function_call out of run() when its turn comes. Thread: owner
    virtual ReturnCode addFdHandler(int fd, unsigned int events,
                                    const std::function<void(int, unsigned int)>& handler) = 0;

    // Watches `fd` for `events` instead of what it was watched for before. Of what the loop has
    // fetched already, only what is in the new set is still delivered. Returns NOT_FOUND,
    // INVALID_EVENTS or OS_ERROR; the old set stays in force then. Thread: owner
    virtual ReturnCode updateFdEvents(int fd, unsigned int events) = 0;

    // Stops watching `fd`. The handler is not called any more, not even for what the loop has
    // fetched already, and may remove itself in its own call. Returns NOT_FOUND. Thread: owner
    virtual ReturnCode removeFdHandler(int fd) = 0;

    // Waits and dispatches until stop() is called or no handler is left, and returns OK; at once if
    // there is none to begin with. Handlers and deferred functions that are left stay for the next
    // run(). A callback may run the loop again inside its call; a stop() in there ends both.
    // Returns OS_ERROR if waiting fails. What a callback or deferred function throws leaves run(),
    // and events that were fetched together with the one being handled wait for the next run()
    // then. Thread: owner
    virtual ReturnCode run() = 0;

    // Puts a copy of `event` at the end of the queue of deferred functions. The whole queue runs,
    // first in first out, each time a handler has returned, and what its functions add runs with
    // it. Nothing wakes the loop for it: without a handler that fires, a deferred function never
    // runs. A function is out of the queue before it runs; what it throws leaves run(), and the
    // rest stays. An empty function is accepted and throws std::bad_function_call when its turn
    // comes. What is still queued when the loop is destroyed is destroyed without a call. Returns
    // nothing but OK and WRONG_THREAD. Thread: owner
    virtual ReturnCode scheduleEvent(const std::function<void()>& event) = 0;

    // Lets run() return once it has handled everything it has fetched, at most three events. Call
    // it in a handler or deferred function: it doesn't wake a loop, and run() forgets an earlier
    // one. Returns nothing but OK and WRONG_THREAD. Thread: owner
    virtual ReturnCode stop() = 0;

    virtual ~EventLoopIf();

protected:
    EventLoopIf() = default;
};

}  // namespace Quoria::EventLoop::V1

#endif
