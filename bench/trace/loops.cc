#include "loops.h"

#include <quoria/trace/trace.h>

// The empty instruction keeps the compiler from doing anything about the loop.

__attribute__((noinline)) void loopWithStatement(long times) {
    for (long i = 0; i < times; ++i) {
        asm volatile("" : : "r"(i) : "memory");
        QTRACE_TRACE1("-", "round " << i);
    }
}

__attribute__((noinline)) void loopWithoutStatement(long times) {
    for (long i = 0; i < times; ++i) {
        asm volatile("" : : "r"(i) : "memory");
    }
}
