// timerData.h: what is kept of a pending timer, and what it is known by.
//
// Private header of timer.
//
// Plain values; the receiver stays the application's.
#ifndef QUORIA_TIMER_TIMERDATA_H
#define QUORIA_TIMER_TIMERDATA_H

#include <quoria/timer/timeoutReceiverIf.h>

#include <chrono>
#include <map>

namespace Quoria::Timer::V1 {

struct TimerData {
    TimeoutReceiverIf* receiver;
    unsigned int timerId;
    bool periodical;
    std::chrono::milliseconds period;  // of a periodic timer
};

struct TimerKey {
    TimeoutReceiverIf* receiver;
    unsigned int timerId;

    bool operator==(const TimerKey& other) const {
        return receiver == other.receiver && timerId == other.timerId;
    }
};

inline TimerKey keyOf(const TimerData& data) {
    return {data.receiver, data.timerId};
}

// By absolute expiry; those with the same one are in the order in which they were started.
using Timers = std::multimap<std::chrono::steady_clock::time_point, TimerData>;

}  // namespace Quoria::Timer::V1

#endif
