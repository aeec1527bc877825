// timerManagerOsWrapper.h: the timer descriptor's system calls, replaceable one by one.
//
// Private header of timer.
//
// Any thread may call; timer managers share the ownership of a wrapper with whoever gave it to
// them.
#ifndef QUORIA_TIMER_TIMERMANAGEROSWRAPPER_H
#define QUORIA_TIMER_TIMERMANAGEROSWRAPPER_H

#include <sys/timerfd.h>

namespace Quoria::Timer::V1 {

// Each operation returns the result of the call that it is named after, and leaves errno as that
// call has set it.
class TimerManagerOsWrapper {
public:
    TimerManagerOsWrapper() = default;
    TimerManagerOsWrapper(const TimerManagerOsWrapper&) = delete;
    TimerManagerOsWrapper& operator=(const TimerManagerOsWrapper&) = delete;

    virtual ~TimerManagerOsWrapper();
    virtual int timerfdCreate(int clockid, int flags);
    virtual int timerfdSettime(int fd, int flags, const itimerspec* newValue, itimerspec* oldValue);
};

}  // namespace Quoria::Timer::V1

#endif
