// What starting, cancelling and expiring a timer costs, by how many others are pending.
//
// In timers/start and timers/cancel a timer is started behind the pending ones and cancelled soon
// after, as one that guards a request is. In timers/startScattered and timers/cancelScattered it is
// anyone of the pending ones, so that almost everything that is touched is out of the caches when
// there are many.

#include <benchmark/benchmark.h>
#include <quoria/eventLoop/eventLoopIf.h>
#include <quoria/timer/timeoutReceiverIf.h>
#include <quoria/timer/timerManagerIf.h>
#include <time.h>

#include <algorithm>
#include <chrono>
#include <numeric>
#include <random>
#include <vector>

namespace {

using namespace std::chrono_literals;
using Quoria::EventLoop::V1::EventLoopIf;
using Quoria::Timer::V1::TimeoutReceiverIf;
using Quoria::Timer::V1::TimerManagerIf;
using std::chrono::milliseconds;

constexpr unsigned int kBatch = 100;

// Processor time in seconds that `body` takes on the calling thread; it leaves out the waits for a
// processor and for the kernel's timer.
template <typename Body>
double secondsFor(Body body) {
    const auto processorTime = [] {
        timespec time{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);  // exists for every running thread
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
    };
    const double start = processorTime();
    body();
    return processorTime() - start;
}

// The receiver of all timers. Those with the ids from 0 on are pending for long, at least as many
// as a batch has.
class Timers : public TimeoutReceiverIf {
public:
    explicit Timers(const benchmark::State& state)
        : manager_(TimerManagerIf::getInstance()),
          loop_(*EventLoopIf::getInstance()),
          pending_(static_cast<unsigned int>(state.range(0))),
          scattered_(pending_) {
        std::iota(scattered_.begin(), scattered_.end(), 0);
        std::shuffle(scattered_.begin(), scattered_.end(), random_);
        for (unsigned int id = 0; id < pending_; ++id) {
            start(id, longTime());
        }
    }
    ~Timers() override {
        for (unsigned int id = 0; id < pending_; ++id) {
            cancel(id);
        }
    }

    void handleTimeout(unsigned int) override {
        if (--due_ == 0) {
            loop_.stop();
        }
    }

    void start(unsigned int id, milliseconds timeout) {
        failed_ |= manager_.startTimer(timeout, this, id) != TimerManagerIf::OK;
    }
    void cancel(unsigned int id) {
        failed_ |= manager_.cancelTimer(this, id) != TimerManagerIf::OK;
    }
    void startBatch(milliseconds timeout) {
        for (unsigned int i = 0; i < kBatch; ++i) {
            start(pending_ + i, timeout);
        }
    }
    void cancelBatch() {
        for (unsigned int i = 0; i < kBatch; ++i) {
            cancel(pending_ + i);
        }
    }
    void expireBatch() {
        due_ = kBatch;
        failed_ |= loop_.run() != EventLoopIf::OK;
    }

    // A batch of pending timers that lie anywhere among the others, and are back after both.
    void cancelScattered() {
        for (unsigned int i = 0; i < kBatch; ++i) {
            cancel(scattered_[(next_ + i) % pending_]);
        }
    }
    void startScattered() {
        for (unsigned int i = 0; i < kBatch; ++i) {
            start(scattered_[(next_ + i) % pending_], longTime());
        }
        next_ = (next_ + kBatch) % pending_;
    }
    bool failed() const { return failed_; }

private:
    milliseconds longTime() { return 1h + milliseconds(random_() % 3'600'000); }

    TimerManagerIf& manager_;
    EventLoopIf& loop_;
    const unsigned int pending_;
    std::mt19937 random_{1};
    std::vector<unsigned int> scattered_;  // the ids of the pending ones
    unsigned int next_ = 0;                // index into scattered_
    unsigned int due_ = 0;
    bool failed_ = false;
};

// `round` does something to as many timers as a batch has and returns how long that took.
template <typename Round>
void measure(benchmark::State& state, Round round) {
    Timers timers(state);
    while (state.KeepRunningBatch(kBatch)) {
        state.SetIterationTime(round(timers));
    }
    if (timers.failed()) {
        state.SkipWithError("an operation failed");
    }
}

void start(benchmark::State& state) {
    measure(state, [](Timers& timers) {
        const double seconds = secondsFor([&timers] { timers.startBatch(3h); });
        timers.cancelBatch();
        return seconds;
    });
}

void cancel(benchmark::State& state) {
    measure(state, [](Timers& timers) {
        timers.startBatch(3h);
        return secondsFor([&timers] { timers.cancelBatch(); });
    });
}

void expire(benchmark::State& state) {
    measure(state, [](Timers& timers) {
        timers.startBatch(0ms);
        return secondsFor([&timers] { timers.expireBatch(); });
    });
}

void startScattered(benchmark::State& state) {
    measure(state, [](Timers& timers) {
        timers.cancelScattered();
        return secondsFor([&timers] { timers.startScattered(); });
    });
}

void cancelScattered(benchmark::State& state) {
    measure(state, [](Timers& timers) {
        const double seconds = secondsFor([&timers] { timers.cancelScattered(); });
        timers.startScattered();
        return seconds;
    });
}

void perPending(benchmark::internal::Benchmark* timersBenchmark) {
    timersBenchmark->Arg(100)->Arg(1000)->Arg(10000)->Arg(100000)->UseManualTime();
}

BENCHMARK(start)->Name("timers/start")->Apply(perPending);
BENCHMARK(cancel)->Name("timers/cancel")->Apply(perPending);
BENCHMARK(expire)->Name("timers/expire")->Apply(perPending);
BENCHMARK(startScattered)->Name("timers/startScattered")->Apply(perPending);
BENCHMARK(cancelScattered)->Name("timers/cancelScattered")->Apply(perPending);

}  // namespace

BENCHMARK_MAIN();
