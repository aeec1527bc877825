// timerManagerIf.h: the one-shot and periodic timers of a thread.
//
// Public header.
//
// Every thread has a timer manager of its own, made on first use and destroyed with the thread.
// Only that thread, the owner, may use it: any other gets WRONG_THREAD from every operation and
// changes nothing. Timers expire inside EventLoopIf::run() on the owner, one at a time.
//
// A timer is known by its receiver and an id of the caller's choice, together; the same id with
// another receiver is another timer. The manager doesn't own receivers: one must live for as long
// as a timer of it is pending.
//
// What holds for every timer:
//  - It doesn't expire before its time by the monotonic clock. It does so later if the thread is
//    busy.
//  - Timers expire in the order of their times, and those of the same time in the order in which
//    they were started or, if they are periodic, last handled. One iteration of the event loop
//    delivers one timer, so that other descriptors get their turn in between.
//  - A duration of zero or less is over already, and the more negative one was over earlier: such a
//    timer is due in the event loop's next iteration. A period like that keeps the loop busy, and a
//    negative one is ahead of all timers that are due later than so long ago: don't use it. A
//    time beyond the end of the clock, some 292 years, doesn't come.
//  - A timer that has been cancelled doesn't expire any more, even if it was due.
//  - A null receiver is accepted. Its timers are like any others, but nobody is called.
//  - What starting, cancelling and expiring cost grows with the logarithm of the number of pending
//    timers.
// If the kernel refuses to set the thread's timer descriptor after a cancellation or expiry, an
// ERROR trace event says so. Until a later operation sets it, the next timer may come early, or not
// at all. What is pending when the manager is destroyed is dropped, and no receiver is called.
#ifndef QUORIA_TIMER_TIMERMANAGERIF_H
#define QUORIA_TIMER_TIMERMANAGERIF_H

#include <quoria/timer/timeoutReceiverIf.h>
#include <quoria/util/export.h>

#include <chrono>

namespace Quoria::Timer::V1 {

class QUORIA_EXPORT TimerManagerIf {
public:
    enum ReturnCode : unsigned int {
        OK = 0,
        ALREADY_EXISTS = 1,  // a timer with this receiver and id is pending
        NOT_FOUND = 2,       // no timer with this receiver and id is pending
        WRONG_THREAD = 3,    // the caller is not the owner
        OS_ERROR = 4         // the thread's timer descriptor could not be created, registered with
                             // the event loop, or set; an ERROR trace event says why if a system
                             // call has failed
    };

    // The calling thread's timer manager, made now if there is none. It stays valid until the
    // thread ends.
    // Thread: any
    static TimerManagerIf& getInstance();

    TimerManagerIf(const TimerManagerIf&) = delete;
    TimerManagerIf& operator=(const TimerManagerIf&) = delete;

    // Starts a timer that calls `receiver` once with `timerId`, `timeout` from now. Returns
    // ALREADY_EXISTS (the pending timer keeps its time) or OS_ERROR (the timer is not started; a
    // later start tries again). Thread: owner
    virtual ReturnCode startTimer(const std::chrono::milliseconds& timeout,
                                  TimeoutReceiverIf* receiver, unsigned int timerId) = 0;

    // Starts a timer that calls `receiver` with `timerId` again and again: `period` from now, and
    // then each time `period` after the preceding expiry has begun to be handled, so that lateness
    // adds up and no expiry is made up for. Returns what startTimer() does. Thread: owner
    virtual ReturnCode startPeriodicalTimer(const std::chrono::milliseconds& period,
                                            TimeoutReceiverIf* receiver, unsigned int timerId) = 0;

    // Ends a pending timer; its receiver is not called any more. Returns NOT_FOUND, also for a
    // one-shot timer from its own handleTimeout() on. Thread: owner
    virtual ReturnCode cancelTimer(TimeoutReceiverIf* receiver, unsigned int timerId) = 0;

    virtual ~TimerManagerIf();

protected:
    TimerManagerIf() = default;
};

}  // namespace Quoria::Timer::V1

#endif
