// sleepFor.h: waits for a time that may be shorter than what the scheduler is good for.
//
// Public header.
//
// Any thread may call; nothing is kept.
#ifndef QUORIA_UTIL_SLEEPFOR_H
#define QUORIA_UTIL_SLEEPFOR_H

#include <quoria/util/export.h>

#include <chrono>

namespace Quoria::Util {

// Returns when at least `duration` has passed by the monotonic clock; at once if it is zero or
// negative. A duration of one millisecond or more is slept in the kernel, and signals don't cut it
// short. A shorter one keeps the processor busy, so that it isn't stretched by the granularity of
// the scheduler.
// Thread: any
QUORIA_EXPORT void sleepFor(const std::chrono::nanoseconds& duration);

}  // namespace Quoria::Util

#endif
