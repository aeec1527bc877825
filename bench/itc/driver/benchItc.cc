// Runs the programs of the benchmark in turns (all of them once, then all of them again), so that
// what changes on the machine meanwhile meets all alike, and reports the medians.
//
//   benchItc [--rounds N] [--scale X] [--json FILE] [--markdown FILE] [--plot-data FILE]
//            [--programs FOLDER]
//
// The report is printed too. Fails when a program fails; a target that is missed is no failure.

#include "plan.h"
#include "report.h"
#include "runner.h"
#include "targets.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <map>

namespace {

using namespace Bench;

using Options = std::map<std::string, std::string>;

std::string programsBesideThisOne() {
    return std::filesystem::read_symlink("/proc/self/exe").parent_path() / "bench-itc";
}

Options optionsOf(int argc, char** argv) {
    Options options{{"--rounds", "9"},   {"--scale", "1"},
                    {"--json", ""},      {"--markdown", ""},
                    {"--plot-data", ""}, {"--programs", programsBesideThisOne()}};
    for (int index = 1; index < argc; index += 2) {
        const auto option = options.find(argv[index]);
        if (option == options.end() || index + 1 == argc) {
            std::cerr << "unknown or incomplete option: " << argv[index] << std::endl;
            std::exit(EXIT_FAILURE);
        }
        option->second = argv[index + 1];
    }
    return options;
}

// Takes out of the plan what was not built, and returns the names of that.
std::vector<std::string> leaveOut(std::vector<Run>& plan, const std::filesystem::path& folder) {
    std::vector<std::string> leftOut;
    const auto isMissing = [&](const Run& run) {
        const bool missing = !std::filesystem::exists(folder / run.program);
        if (missing && std::find(leftOut.begin(), leftOut.end(), run.program) == leftOut.end()) {
            leftOut.push_back(run.program);
        }
        return missing;
    };
    plan.erase(std::remove_if(plan.begin(), plan.end(), isMissing), plan.end());
    return leftOut;
}

bool runOnce(const Run& planned, const std::filesystem::path& folder, Figures& figures) {
    const std::vector<double> numbers = run((folder / planned.program).string(), planned.args);
    if (numbers.size() != planned.keys.size()) {
        std::cerr << "failed: " << planned.program;
        for (const std::string& arg : planned.args) {
            std::cerr << ' ' << arg;
        }
        std::cerr << std::endl;
        return false;
    }
    for (std::size_t index = 0; index < numbers.size(); ++index) {
        figures.add(planned.keys[index], planned.unit, numbers[index]);
    }
    return true;
}

bool writeFile(const std::string& path, const std::function<void(std::ostream&)>& write) {
    if (path.empty()) {
        return true;
    }
    std::ofstream file(path);
    write(file);
    file.close();
    if (!file) {
        std::cerr << "can't write " << path << std::endl;
    }
    return !file.fail();
}

}  // namespace

int main(int argc, char** argv) {
    const Options options = optionsOf(argc, argv);
    const std::filesystem::path folder = options.at("--programs");
    std::vector<Run> plan = makePlan(std::stod(options.at("--scale")));
    Circumstances circumstances = lookAround();
    circumstances.rounds = static_cast<unsigned>(std::stoul(options.at("--rounds")));
    circumstances.leftOut = leaveOut(plan, folder);

    Figures figures;
    bool succeeded = true;
    for (unsigned round = 1; round <= circumstances.rounds; ++round) {
        std::cerr << "bench-itc: round " << round << " of " << circumstances.rounds << std::endl;
        for (const Run& planned : plan) {
            succeeded = runOnce(planned, folder, figures) && succeeded;
        }
    }
    circumstances.loadAfter = loadOfLastMinute();

    const std::vector<Outcome> outcomes = compareWithTargets(figures);
    const auto markdown = [&](std::ostream& out) {
        writeMarkdown(out, figures, outcomes, circumstances);
    };
    markdown(std::cout);
    succeeded = writeFile(options.at("--markdown"), markdown) && succeeded;
    succeeded =
        writeFile(options.at("--json"),
                  [&](std::ostream& out) { writeJson(out, figures, outcomes, circumstances); }) &&
        succeeded;
    succeeded = writeFile(options.at("--plot-data"),
                          [&](std::ostream& out) { writePlotData(out, figures); }) &&
                succeeded;
    return succeeded ? EXIT_SUCCESS : EXIT_FAILURE;
}
