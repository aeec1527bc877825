// functionQueue.h: the taking end of a first-in first-out queue of functions kept in a vector.
//
// Public header.
//
// Whoever owns the queue calls, under the lock that guards it if there is one.
#ifndef QUORIA_UTIL_FUNCTIONQUEUE_H
#define QUORIA_UTIL_FUNCTIONQUEUE_H

#include <cstddef>
#include <functional>
#include <vector>

namespace Quoria::Util::detail {

// Takes the oldest function out of `queue`, whose elements from index `oldest` on wait to be taken,
// oldest first; there must be one. Appending to the vector adds a function. On return both describe
// the queue without that function, and a queue with none left is an empty vector and index 0.
//
// The place of a taken function is given back only once half of the vector is such places, so that
// a function is moved on average at most once more on its way out, however many wait behind it.
// Thread: owner
inline std::function<void()> takeOldest(std::vector<std::function<void()>>& queue,
                                        std::size_t& oldest) {
    std::function<void()> function;
    function.swap(queue[oldest]);
    ++oldest;
    if (oldest >= queue.size() - oldest) {
        queue.erase(queue.begin(), queue.begin() + static_cast<std::ptrdiff_t>(oldest));
        oldest = 0;
    }
    return function;
}

}  // namespace Quoria::Util::detail

#endif
