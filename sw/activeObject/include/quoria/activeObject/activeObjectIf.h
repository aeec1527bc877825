// activeObjectIf.h: a thread that runs what others post to it.
//
// Public header.
//
// An active object is a thread with an event loop of its own (eventLoopIf.h). Any thread may post
// functions to it; they run on its thread, one per wake-up of the loop, in the order posted.
// Timers, messages and descriptors of that thread are set up by the start-up function or by posted
// functions.
#ifndef QUORIA_ACTIVEOBJECT_ACTIVEOBJECTIF_H
#define QUORIA_ACTIVEOBJECT_ACTIVEOBJECTIF_H

#include <quoria/util/export.h>

#include <functional>
#include <memory>
#include <string>

namespace Quoria::ActiveObject::V1 {

class QUORIA_EXPORT ActiveObjectIf {
public:
    struct SchedulingPolicy {
        enum Policy : unsigned int {
            DEFAULT = 0,  // what the thread inherits from its creator
            FIFO = 1      // SCHED_FIFO, with the priority that the thread inherits from its creator
        };
        // Any other value is as DEFAULT. A thread that may not have FIFO, and one whose inherited
        // priority is none for FIFO, keeps what it inherits; nothing is reported.
        Policy policy = DEFAULT;
    };

    // Starts a thread named after the first 15 bytes of `name`. It applies `policy`, calls its copy
    // of `startFunction` unless that is empty, and then runs its loop. Returns without waiting for
    // any of that; functions may be posted at once. The caller owns the result and may share it.
    // Returns an empty pointer if the thread's wake-up descriptor can't be made (an INFO trace
    // event says why); what std::thread throws when there is no thread to be had passes through. If
    // the thread can't watch its descriptor it ends before the start-up function (an ERROR trace
    // event says so), and what is posted never runs. Thread: any
    static std::shared_ptr<ActiveObjectIf> create(const std::string& name,
                                                  const std::function<void()>& startFunction,
                                                  const SchedulingPolicy& policy);

    // The same with the name "ActiveObject".
    // Thread: any
    static std::shared_ptr<ActiveObjectIf> create(const std::function<void()>& startFunction,
                                                  const SchedulingPolicy& policy);

    ActiveObjectIf(const ActiveObjectIf&) = delete;
    ActiveObjectIf& operator=(const ActiveObjectIf&) = delete;

    // Queues a copy of `function` to run after everything posted before it, also when called on the
    // active object's own thread. Never waits for it to run. An empty function is taken from the
    // queue in its turn and not called. What a function throws ends the process. If the thread
    // can't be woken (an ERROR trace event says so), the function stays queued and the next wake-up
    // takes the oldest one waiting. Thread: any
    virtual void executeFunction(const std::function<void()>& function) = 0;

    // Ends the thread. On another thread, waits until everything posted before has run and the
    // thread has ended. On the active object's own thread, inside a posted function, returns at
    // once: the function finishes, the loop handles what it has fetched, the thread ends by itself,
    // and functions still queued are destroyed without a call. Called in the start-up function it
    // can't stop the loop, which has yet to start: the thread ends if it watches no descriptor
    // besides its own. Thread: any, the active object's own included
    virtual ~ActiveObjectIf();

protected:
    ActiveObjectIf() = default;
};

}  // namespace Quoria::ActiveObject::V1

#endif
