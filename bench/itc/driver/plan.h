// plan.h: which programs run in each round, and what their output means.
//
// Private header of the benchmark.
#ifndef QUORIA_BENCH_PLAN_H
#define QUORIA_BENCH_PLAN_H

#include "figures.h"

#include <string>
#include <vector>

namespace Bench {

// The measures, as they are named in keys and reports.
constexpr char kRoundTrip[] = "round trip between processes";
constexpr char kOneWay[] = "one way between processes, per message";
constexpr char kThreadRoundTrip[] = "round trip between threads";
constexpr char kThreadOneWay[] = "one way between threads, per message";
constexpr char kManySenders[] = "many senders to one receiver, 64 B, per message";
constexpr char kLocate[] = "locate one name among so many";
constexpr char kCreate[] = "create a mailbox with a name, and delete it";
constexpr char kMonitor[] = "monitor a mailbox, and unmonitor it";
constexpr char kCommand[] = "a whole command: locate, connect, run, disconnect";
constexpr char kExecution[] = "a command over an open connection";
constexpr char kDeathMedian[] = "SIGKILL to indication, median";
constexpr char kDeathP99[] = "SIGKILL to indication, 99th percentile";
constexpr char kMailboxMemory[] = "memory of a mailbox";
constexpr char kProcessMemory[] = "memory of a process, its first mailbox included";

struct Run {
    std::string program;
    std::vector<std::string> args;
    std::string unit;
    std::vector<Key> keys;  // of the numbers that it prints, in their order
};

// One round. `scale` is applied to how often each program does what it measures.
std::vector<Run> makePlan(double scale);

}  // namespace Bench

#endif
