// steadyClock.h: lets std::chrono::steady_clock go wrong by as much as a test wants.
//
// Test support.
//
// Any thread may call. Only what is linked into the test program sees the shifted time; the kernel
// waits by the true one. So a deadline that was taken from a clock an hour behind has passed at
// once, and no test needs to wait for it.
#ifndef QUORIA_STARTUP_TEST_STEADYCLOCK_H
#define QUORIA_STARTUP_TEST_STEADYCLOCK_H

#include <chrono>

namespace QuoriaTest::SteadyClock {

// From now on the clock shows the true time plus `offset`.
void shift(std::chrono::hours offset);

}  // namespace QuoriaTest::SteadyClock

#endif
