// targets.h: what the mailbox library must reach, and whether it did.
//
// Private header of the benchmark.
#ifndef QUORIA_BENCH_TARGETS_H
#define QUORIA_BENCH_TARGETS_H

#include "figures.h"

#include <optional>
#include <string>
#include <vector>

namespace Bench {

struct Outcome {
    std::string what;
    std::string mode;
    std::optional<double> ours;   // nanoseconds
    std::string peerName;         // "" if the target is a time
    std::optional<double> peers;  // nanoseconds
    std::optional<double> ratio;  // ours to the peer's, round by round
    std::string target;           // in words
    std::optional<bool> reached;  // nothing if one of the two was left out
};

std::vector<Outcome> compareWithTargets(const Figures& figures);

}  // namespace Bench

#endif
