// report.h: the figures for people, for programs and for gnuplot.
//
// Private header of the benchmark.
#ifndef QUORIA_BENCH_REPORT_H
#define QUORIA_BENCH_REPORT_H

#include "figures.h"
#include "targets.h"

#include <ostream>
#include <string>
#include <vector>

namespace Bench {

struct Circumstances {
    std::string cpu;
    unsigned cpus;
    std::string kernel;
    std::string loadBefore;  // of the last minute
    std::string loadAfter;
    unsigned rounds;
    std::vector<std::string> leftOut;  // programs that were not built
};

// Of this machine, now. The load afterwards is still open.
Circumstances lookAround();
std::string loadOfLastMinute();

void writeMarkdown(std::ostream& out, const Figures& figures, const std::vector<Outcome>& outcomes,
                   const Circumstances& circumstances);
void writeJson(std::ostream& out, const Figures& figures, const std::vector<Outcome>& outcomes,
               const Circumstances& circumstances);
// Lines of measure, contender, parameter, mode and median, parted by tabs.
void writePlotData(std::ostream& out, const Figures& figures);

}  // namespace Bench

#endif
