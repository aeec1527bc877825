// timeoutReceiverIf.h: what a timer calls when it expires.
//
// Public header.
//
// Applications implement it and own their receivers; a timer manager never deletes one. A receiver
// is called on the thread that has started the timer. It must live for as long as a timer of it is
// pending, so whoever destroys it cancels its timers first.
#ifndef QUORIA_TIMER_TIMEOUTRECEIVERIF_H
#define QUORIA_TIMER_TIMEOUTRECEIVERIF_H

#include <quoria/util/export.h>

namespace Quoria::Timer::V1 {

class QUORIA_EXPORT TimeoutReceiverIf {
public:
    // The timer started with this receiver and `timerId` has expired. If it was a one-shot timer,
    // it is gone and may be started again; if it is periodic, it is pending again and may be
    // cancelled. Every operation of the thread's timer manager and event loop may be called, and
    // the receiver may delete itself once no timer of it is pending. What it throws leaves
    // EventLoopIf::run().
    // Thread: owner (the one that started the timer)
    virtual void handleTimeout(unsigned int timerId) = 0;

    virtual ~TimeoutReceiverIf();

protected:
    // Timers belong to the object that they were started with. A copy has none.
    TimeoutReceiverIf() = default;
    TimeoutReceiverIf(const TimeoutReceiverIf&) = default;
    TimeoutReceiverIf& operator=(const TimeoutReceiverIf&) = default;
};

}  // namespace Quoria::Timer::V1

#endif
