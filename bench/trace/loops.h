// loops.h: a trace statement executed many times, and the same without the statement.
#ifndef QUORIA_BENCH_TRACE_LOOPS_H
#define QUORIA_BENCH_TRACE_LOOPS_H

// With C linkage, for a profiler to find them by name.
extern "C" void loopWithStatement(long times);
extern "C" void loopWithoutStatement(long times);

#endif
