// timerIndex.h: finds a pending timer by its receiver and id.
//
// Private header of timer.
//
// Only the thread that owns the timers may call it. It owns none of them: who takes a timer away
// takes it from the index first.
//
// A flat table with linear probing, at most half full. Most often an operation touches one cache
// line of it, and no timer but the one that it finds. It allocates memory for growth alone and
// keeps what it has got, at most 64 bytes for each of the timers there were at once.
#ifndef QUORIA_TIMER_TIMERINDEX_H
#define QUORIA_TIMER_TIMERINDEX_H

#include <cstddef>
#include <optional>
#include <vector>

#include "timerData.h"

namespace Quoria::Timer::V1 {

class TimerIndex {
public:
    TimerIndex();

    // For one timer more. If memory is short it throws and nothing has changed.
    void makeRoom();
    // There must be room, and none with the same key.
    void add(Timers::iterator timer) noexcept;
    bool contains(const TimerKey& key) const;
    // Finds it and forgets it.
    std::optional<Timers::iterator> take(const TimerKey& key);

    // How many slots at most an operation passes on its way to a timer. Looks at all of them.
    std::size_t longestWay() const;

private:
    struct Slot {
        std::size_t mark = 0;  // of the timer's key; never 0 in a slot that is used
        Timers::iterator timer;
    };

    static std::size_t markOf(const TimerKey& key);
    std::size_t home(std::size_t mark) const { return mark >> shift_; }
    std::size_t after(std::size_t place) const { return (place + 1) & (slots_.size() - 1); }
    // The place of the timer, or else the free one where it would be.
    std::size_t placeOf(const TimerKey& key) const;
    void put(const Slot& slot) noexcept;
    void vacate(std::size_t place);

    std::vector<Slot> slots_;  // as many as a power of two
    unsigned int shift_;       // leaves of a mark as many upper bits as a place has
    std::size_t count_ = 0;
};

}  // namespace Quoria::Timer::V1

#endif
