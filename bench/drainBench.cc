// What one function costs on its way out of a queue, by how many wait behind it: `perFunction`
// should be the same on every line, up to the caches that the queue outgrows.

#include <benchmark/benchmark.h>
#include <quoria/activeObject/activeObjectIf.h>
#include <quoria/eventLoop/eventLoopIf.h>
#include <sys/eventfd.h>
#include <time.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <future>
#include <memory>

namespace {

using Quoria::ActiveObject::V1::ActiveObjectIf;
using Quoria::EventLoop::V1::EventLoopIf;

double secondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Processor time of the calling thread in seconds. It leaves out the waits for a processor that a
// longer measurement is bound to meet, and takes long enough to read that a short one is better
// without.
double processorTime() {
    timespec time{};
    if (clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time) != 0) {
        return 0;
    }
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

void reportPerFunction(benchmark::State& state) {
    const auto functions = static_cast<double>(state.iterations() * state.range(0));
    state.counters["perFunction"] =
        benchmark::Counter(functions, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

// One wake-up of the loop drains everything that has been deferred.
void drainEventLoop(benchmark::State& state) {
    EventLoopIf* const loop = EventLoopIf::getInstance();
    const int bell = eventfd(1, EFD_CLOEXEC);
    std::chrono::steady_clock::time_point start;
    loop->addFdHandler(bell, EventLoopIf::EVENT_IN, [&](int, unsigned int) {
        loop->stop();
        start = std::chrono::steady_clock::now();
    });
    std::int64_t ran = 0;
    while (state.KeepRunning()) {
        for (std::int64_t i = 0; i < state.range(0); ++i) {
            loop->scheduleEvent([&ran] { ++ran; });
        }
        if (loop->run() != EventLoopIf::OK) {
            state.SkipWithError("the loop failed");
            break;
        }
        state.SetIterationTime(secondsSince(start));
    }
    if (ran != state.iterations() * state.range(0)) {
        state.SkipWithError("not every function ran");
    }
    loop->removeFdHandler(bell);
    close(bell);
    reportPerFunction(state);
}

// Each function takes a wake-up of its own: an epoll_wait() and a read() are in the time.
void drainActiveObject(benchmark::State& state) {
    const auto object = ActiveObjectIf::create("drain", {}, {});
    std::int64_t ran = 0;  // the active object's, and ours when it has nothing to do
    while (state.KeepRunning()) {
        std::promise<void> go;
        const auto done = std::make_shared<std::promise<double>>();
        double start = 0;
        object->executeFunction([&go, &start] {
            go.get_future().wait();
            start = processorTime();
        });
        for (std::int64_t i = 0; i < state.range(0); ++i) {
            object->executeFunction([&ran] { ++ran; });
        }
        object->executeFunction([done, &start] { done->set_value(processorTime() - start); });
        go.set_value();
        state.SetIterationTime(done->get_future().get());
    }
    if (ran != state.iterations() * state.range(0)) {
        state.SkipWithError("not every function ran");
    }
    reportPerFunction(state);
}

BENCHMARK(drainEventLoop)->Arg(10)->Arg(1000)->Arg(100000)->UseManualTime();
BENCHMARK(drainActiveObject)->Arg(10)->Arg(1000)->Arg(100000)->UseManualTime();

}  // namespace

BENCHMARK_MAIN();
