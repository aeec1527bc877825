// timerData.h: what is kept of a pending timer, and what it is known by.
//
// Private header of timer.
//
// Plain values; the receiver stays the application's.
#ifndef QUORIA_TIMER_TIMERDATA_H
#define QUORIA_TIMER_TIMERDATA_H

#include <quoria/timer/timeoutReceiverIf.h>

#include <chrono>
#include <cstddef>
#include <cstdint>

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

struct HashOfTimerKey {
    // Scatters the receivers and keeps consecutive ids of one next to each other, because they are
    // often used one after the other. The factor is 2^64 divided by the golden ratio.
    std::size_t operator()(const TimerKey& key) const {
        return reinterpret_cast<std::uintptr_t>(key.receiver) * 0x9E3779B97F4A7C15U + key.timerId;
    }
};

}  // namespace Quoria::Timer::V1

#endif
