#include "report.h"

#include <fstream>
#include <thread>

#include <sys/utsname.h>

namespace Bench {

namespace {

std::string modelOfCpu() {
    std::ifstream file("/proc/cpuinfo");
    for (std::string line; std::getline(file, line);) {
        const std::size_t colon = line.find(": ");
        if (line.rfind("model name", 0) == 0 && colon != std::string::npos) {
            return line.substr(colon + 2);
        }
    }
    return "unknown";
}

std::string releaseOfKernel() {
    utsname names{};
    return uname(&names) == 0 ? names.release : "unknown";
}

}  // namespace

std::string loadOfLastMinute() {
    std::string load;
    std::ifstream("/proc/loadavg") >> load;
    return load;
}

Circumstances lookAround() {
    Circumstances found;
    found.cpu = modelOfCpu();
    found.cpus = std::thread::hardware_concurrency();
    found.kernel = releaseOfKernel();
    found.loadBefore = loadOfLastMinute();
    found.rounds = 0;
    return found;
}

}  // namespace Bench
