#include "steadyClock.h"

#include <atomic>
#include <cstdint>

namespace {

std::atomic<std::int64_t> offsetNs{0};

}  // namespace

namespace QuoriaTest::SteadyClock {

void shift(std::chrono::hours offset) {
    offsetNs = std::chrono::nanoseconds(offset).count();
}

}  // namespace QuoriaTest::SteadyClock

extern "C" {

// steady_clock::now(): the linker turns calls of it to __wrap_ and its name, and __real_ and its
// name to itself. A time_point is returned as the number that it holds.
std::int64_t __real__ZNSt6chrono3_V212steady_clock3nowEv();

std::int64_t __wrap__ZNSt6chrono3_V212steady_clock3nowEv() {
    return __real__ZNSt6chrono3_V212steady_clock3nowEv() + offsetNs;
}

}  // extern "C"
