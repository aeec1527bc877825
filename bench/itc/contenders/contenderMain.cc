// The measurements that all contenders have in common.
//
//   <contender> roundTrip|oneWay|manySenders threads|processes pinned|free <spokes> <size> <count>
//
// prints nanoseconds per round trip or per message.

#include "contender.h"
#include "crew.h"
#include "setting.h"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

using namespace Bench;

std::size_t warmUpOf(std::size_t count) {
    return count / 4 + 1;
}

// Time is taken by the spoke.
void measureRoundTrip(const Job& job) {
    Gate hubIsThere;
    Crew spoke(1, job.betweenThreads, [&] {
        hubIsThere.pass();
        const auto end = makeSpoke(job);
        for (std::size_t left = warmUpOf(job.count); left > 0; --left) {
            end->call(job.size);
        }
        const double start = now();
        for (std::size_t left = job.count; left > 0; --left) {
            end->call(job.size);
        }
        std::printf("%.1f\n", (now() - start) / static_cast<double>(job.count));
    });
    const auto hub = makeHub(job);
    hubIsThere.letThrough(1);
    for (std::size_t left = warmUpOf(job.count) + job.count; left > 0; --left) {
        hub->serveCall(job.size);
    }
    spoke.join();
}

// Time is taken by the hub, from the moment when the spokes may start until the last message.
void measureOneWay(const Job& job) {
    Gate hubIsThere;
    Gate timeIsTaken;
    Gate allIsReceived;
    Crew spokes(job.spokes, job.betweenThreads, [&] {
        hubIsThere.pass();
        const auto end = makeSpoke(job);
        for (std::size_t left = warmUpOf(job.count); left > 0; --left) {
            end->send(job.size);
        }
        timeIsTaken.pass();
        for (std::size_t left = job.count; left > 0; --left) {
            end->send(job.size);
        }
        allIsReceived.pass();
    });
    const auto hub = makeHub(job);
    hubIsThere.letThrough(job.spokes);
    hub->receive(warmUpOf(job.count) * job.spokes);
    const double start = now();
    timeIsTaken.letThrough(job.spokes);
    hub->receive(job.count * job.spokes);
    const double taken = now() - start;
    allIsReceived.letThrough(job.spokes);
    spokes.join();
    std::printf("%.1f\n", taken / static_cast<double>(job.count * job.spokes));
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 7) {
        fail("usage: contender MEASURE threads|processes pinned|free SPOKES SIZE COUNT");
    }
    const std::vector<std::string> args(argv, argv + argc);
    const Setting setting(args[3] == "pinned");
    Job job;
    job.measure = args[1];
    job.betweenThreads = args[2] == "threads";
    job.spokes = static_cast<unsigned>(std::stoul(args[4]));
    job.size = std::stoul(args[5]);
    job.count = std::stoul(args[6]);
    job.folder = setting.folder();
    if (job.measure == "roundTrip") {
        measureRoundTrip(job);
    } else {
        measureOneWay(job);
    }
    return EXIT_SUCCESS;
}
