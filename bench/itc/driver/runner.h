// runner.h: starts a program of the benchmark and takes the numbers that it prints.
//
// Private header of the benchmark.
#ifndef QUORIA_BENCH_RUNNER_H
#define QUORIA_BENCH_RUNNER_H

#include <string>
#include <vector>

namespace Bench {

// Returns the numbers; none if the program failed, after it has said why on standard error.
std::vector<double> run(const std::string& path, const std::vector<std::string>& args);

}  // namespace Bench

#endif
