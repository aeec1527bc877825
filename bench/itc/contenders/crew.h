// crew.h: the spokes of a measurement, as processes or as threads.
//
// Private header of the benchmark.
#ifndef QUORIA_BENCH_CREW_H
#define QUORIA_BENCH_CREW_H

#include <functional>
#include <thread>
#include <vector>

#include <sys/types.h>

namespace Bench {

// Holds up those who pass until as many of them as wanted are let through. Works across fork().
class Gate {
public:
    Gate();
    void pass();
    void letThrough(unsigned number);

private:
    int ends_[2];
};

class Crew {
public:
    // Starts the work at once, in `number` processes or threads. Must come before the process has
    // any other thread.
    Crew(unsigned number, bool asThreads, const std::function<void()>& work);
    // Fails if one of them has failed.
    void join();

private:
    std::vector<pid_t> processes_;
    std::vector<std::thread> threads_;
};

}  // namespace Bench

#endif
