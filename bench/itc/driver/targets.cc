#include "targets.h"

#include "plan.h"

#include <cstdio>

namespace Bench {

namespace {

constexpr std::size_t kSmall = 64;
constexpr std::size_t kLarge = 65536;
constexpr double kNanosecondsPerMicrosecond = 1000;
// What medians of nine runs differ by when nothing has changed.
constexpr double kNoise = 1.05;

std::string textOf(const char* format, double number) {
    char text[64];
    std::snprintf(text, sizeof text, format, number);
    return text;
}

class Comparison {
public:
    explicit Comparison(const Figures& figures) : figures_(figures) {}

    void ratio(const std::string& what, const Key& ours, const Key& peer,
               const std::string& peerName, double most) {
        Outcome outcome{what,
                        ours.mode,
                        figures_.median(ours),
                        peerName,
                        figures_.median(peer),
                        figures_.medianRatio(ours, peer),
                        textOf("at most %.2f", most),
                        std::nullopt};
        if (outcome.ratio) {
            outcome.reached = *outcome.ratio <= most;
        }
        outcomes_.push_back(outcome);
    }

    void time(const std::string& what, const Key& ours, double mostMicroseconds) {
        Outcome outcome{what,
                        ours.mode,
                        figures_.median(ours),
                        "",
                        std::nullopt,
                        std::nullopt,
                        textOf("at most %.0f us", mostMicroseconds),
                        std::nullopt};
        if (outcome.ours) {
            outcome.reached = *outcome.ours <= mostMicroseconds * kNanosecondsPerMicrosecond;
        }
        outcomes_.push_back(outcome);
    }

    std::vector<Outcome> outcomes() const { return outcomes_; }

private:
    const Figures& figures_;
    std::vector<Outcome> outcomes_;
};

void compareMessages(Comparison& compare) {
    compare.ratio("process to process, 64 B, round trip", {kRoundTrip, "itc", kSmall, kPinned},
                  {kRoundTrip, "seqpacket", kSmall, kPinned}, "SEQPACKET", 0.90);
    compare.ratio("process to process, 64 B, one way", {kOneWay, "itc", kSmall, kPinned},
                  {kOneWay, "zeromq", kSmall, kPinned}, "ZeroMQ", 0.50);
    compare.ratio("process to process, 64 B, one way", {kOneWay, "itc", kSmall, kFree},
                  {kOneWay, "zeromq", kSmall, kFree}, "ZeroMQ", 0.75);
    compare.ratio("process to process, 64 KiB, round trip", {kRoundTrip, "itc", kLarge, kPinned},
                  {kRoundTrip, "seqpacket", kLarge, kPinned}, "SEQPACKET", 0.85);
    compare.ratio("thread to thread, 64 B, round trip", {kThreadRoundTrip, "itc", kSmall, kPinned},
                  {kThreadRoundTrip, "eventfd", kSmall, kPinned}, "eventfd + mutex queue", 1.15);
    compare.ratio("thread to thread, 64 B, one way", {kThreadOneWay, "itc", kSmall, kPinned},
                  {kThreadOneWay, "zeromq", kSmall, kPinned}, "ZeroMQ inproc", 0.60);
    compare.ratio("thread to thread, 64 B, one way", {kThreadOneWay, "itc", kSmall, kFree},
                  {kThreadOneWay, "zeromq", kSmall, kFree}, "ZeroMQ inproc", 0.40);
}

void compareManySenders(Comparison& compare) {
    for (const std::size_t senders : {2U, 4U, 8U}) {
        compare.ratio(std::to_string(senders) + " processes send to one, per message",
                      {kManySenders, "itc", senders, kPinned}, {kManySenders, "itc", 1, kPinned},
                      "one sender", kNoise);
    }
}

void compareCommands(Comparison& compare) {
    compare.ratio("a whole command", {kCommand, "itc", 0, kPinned},
                  {kRoundTrip, "grpc", kSmall, kPinned}, "gRPC, one call", 0.90);
    compare.ratio("a command over an open connection", {kExecution, "itc", 0, kPinned},
                  {kRoundTrip, "sdbus", kSmall, kPinned}, "sd-bus, one call", 0.75);
}

void compareNamesAndDeath(Comparison& compare) {
    for (const std::size_t names : {10U, 1000U, 10000U}) {
        compare.time("locate among " + std::to_string(names), {kLocate, "itc", names, kPinned}, 5);
    }
    compare.ratio("locate among 10000", {kLocate, "itc", 10000, kPinned},
                  {kLocate, "itc", 10, kPinned}, "among 10", 2.00);
    for (const char* mode : {kPinned, kFree}) {
        compare.time("SIGKILL to indication, 99th percentile", {kDeathP99, "itc", 0, mode}, 1000);
    }
}

}  // namespace

std::vector<Outcome> compareWithTargets(const Figures& figures) {
    Comparison compare(figures);
    compareMessages(compare);
    compareManySenders(compare);
    compareCommands(compare);
    compareNamesAndDeath(compare);
    return compare.outcomes();
}

}  // namespace Bench
