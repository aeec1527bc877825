#include "plan.h"

#include <algorithm>
#include <cstddef>

namespace Bench {

namespace {

constexpr std::size_t kSizes[] = {64, 4096, 65536};
constexpr std::size_t kSmallest = kSizes[0];

// How many messages of the smallest size make a run of about a tenth of a second; 0: can't do it.
struct Contender {
    const char* name;
    std::size_t roundTrips;
    std::size_t oneWays;
};

constexpr Contender kBetweenProcesses[] = {
    {"itc", 10000, 200000},   {"seqpacket", 10000, 40000}, {"pipe", 10000, 80000},
    {"futex", 20000, 200000}, {"sdbus", 5000, 20000},      {"zeromq", 2500, 100000},
    {"nanomsg", 2000, 20000}, {"nng", 1500, 3000},         {"grpc", 2500, 0}};

constexpr Contender kBetweenThreads[] = {
    {"itc", 10000, 200000}, {"eventfd", 10000, 200000}, {"zeromq", 10000, 200000}};

// For each sender. So many that what eight senders need for their first messages, memory above all,
// does not show.
constexpr Contender kFromManySenders[] = {
    {"itc", 0, 400000}, {"zeromq", 0, 200000}, {"seqpacket", 0, 40000}};

std::string textOf(std::size_t number) {
    return std::to_string(number);
}

// Larger messages take longer, and those in one direction may all be in memory at once.
std::size_t roundTripsOf(const Contender& contender, std::size_t size) {
    return contender.roundTrips / (size <= 4096 ? 1 : 4);
}

std::size_t oneWaysOf(const Contender& contender, std::size_t size) {
    const std::size_t most = (32U << 20) / size;
    return std::min(contender.oneWays / (size == kSmallest ? 1 : 4), most);
}

class Planner {
public:
    explicit Planner(double scale) : scale_(scale) {}

    void addMessages(const char* mode) {
        for (const std::size_t size : kSizes) {
            for (const Contender& contender : kBetweenProcesses) {
                add(contender, "roundTrip", "processes", mode, size, roundTripsOf(contender, size),
                    kRoundTrip);
                add(contender, "oneWay", "processes", mode, size, oneWaysOf(contender, size),
                    kOneWay);
            }
            for (const Contender& contender : kBetweenThreads) {
                add(contender, "roundTrip", "threads", mode, size, roundTripsOf(contender, size),
                    kThreadRoundTrip);
                add(contender, "oneWay", "threads", mode, size, oneWaysOf(contender, size),
                    kThreadOneWay);
            }
        }
    }

    void addManySenders(const char* mode) {
        for (const std::size_t senders : {1U, 2U, 4U, 8U}) {
            for (const Contender& contender : kFromManySenders) {
                plan_.push_back({contender.name,
                                 {"manySenders", "processes", mode, textOf(senders),
                                  textOf(kSmallest), scaled(contender.oneWays)},
                                 "ns",
                                 {{kManySenders, contender.name, senders, mode}}});
            }
        }
    }

    void addOperations(const char* mode) {
        for (const std::size_t names : {10U, 1000U, 10000U}) {
            plan_.push_back({"locate",
                             {mode, textOf(names), scaled(20000)},
                             "ns",
                             {{kLocate, "itc", names, mode}}});
        }
        plan_.push_back({"lifecycle",
                         {mode, scaled(2000)},
                         "ns",
                         {{kCreate, "itc", 0, mode}, {kMonitor, "itc", 0, mode}}});
        plan_.push_back({"command",
                         {mode, scaled(2000)},
                         "ns",
                         {{kCommand, "itc", 0, mode}, {kExecution, "itc", 0, mode}}});
        for (const char* watch : {"itc", "pidfd"}) {
            plan_.push_back({"death",
                             {watch, mode, scaled(100)},
                             "ns",
                             {{kDeathMedian, watch, 0, mode}, {kDeathP99, watch, 0, mode}}});
        }
    }

    void addMemory() {
        plan_.push_back({"memory",
                         {scaled(200)},
                         "bytes",
                         {{kMailboxMemory, "itc", 0, ""}, {kProcessMemory, "itc", 0, ""}}});
    }

    std::vector<Run> plan() const { return plan_; }

private:
    void add(const Contender& contender, const char* measure, const char* between, const char* mode,
             std::size_t size, std::size_t count, const char* name) {
        if (count > 0) {
            plan_.push_back({contender.name,
                             {measure, between, mode, "1", textOf(size), scaled(count)},
                             "ns",
                             {{name, contender.name, size, mode}}});
        }
    }

    std::string scaled(std::size_t count) const {
        return textOf(std::max<std::size_t>(
            1, static_cast<std::size_t>(static_cast<double>(count) * scale_)));
    }

    double scale_;
    std::vector<Run> plan_;
};

}  // namespace

std::vector<Run> makePlan(double scale) {
    Planner planner(scale);
    for (const char* mode : {kPinned, kFree}) {
        planner.addMessages(mode);
        planner.addManySenders(mode);
        planner.addOperations(mode);
    }
    planner.addMemory();
    return planner.plan();
}

}  // namespace Bench
