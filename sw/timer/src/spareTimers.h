// spareTimers.h: the nodes of timers that are over, for those that will be started.
//
// Private header of timer.
//
// Only the thread that owns the timers may call it. It owns the nodes that it keeps.
//
// Timers come and go in bursts. A node that was just used is still in the caches, and neither
// taking it nor keeping it touches what lies next to it, as the heap would.
#ifndef QUORIA_TIMER_SPARETIMERS_H
#define QUORIA_TIMER_SPARETIMERS_H

#include <array>
#include <cstddef>
#include <utility>

#include "timerData.h"

namespace Quoria::Timer::V1 {

class SpareTimers {
public:
    static constexpr std::size_t kMost = 128;

    // Frees the node if there are enough already.
    void keep(Timers::node_type node) {
        if (count_ < kMost) {
            nodes_[count_++] = std::move(node);
        }
    }
    // The one kept last; an empty handle if there is none.
    Timers::node_type take() {
        return count_ > 0 ? std::move(nodes_[--count_]) : Timers::node_type();
    }

private:
    std::array<Timers::node_type, kMost> nodes_;
    std::size_t count_ = 0;
};

}  // namespace Quoria::Timer::V1

#endif
