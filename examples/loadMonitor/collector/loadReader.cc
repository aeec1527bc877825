#include "loadReader.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>

namespace LoadMonitor {

namespace {

std::string procFolder() {
    const char* folder = std::getenv("LOAD_MONITOR_PROC");
    return folder != nullptr ? folder : "/proc";
}

// The kernel counts in ticks: between two calls there may have been none.
std::uint32_t permille(std::uint64_t part, std::uint64_t whole) {
    return whole == 0 ? 0 : static_cast<std::uint32_t>(std::min(part, whole) * 1000 / whole);
}

}  // namespace

LoadReader::LoadReader() : folder_(procFolder()) {}

std::optional<LoadReader::Load> LoadReader::read() {
    const std::optional<CpuTimes> now = readCpuTimes();
    const std::optional<std::uint64_t> memoryKib = readUsedMemoryKib();
    if (!now || !memoryKib) {
        return std::nullopt;
    }
    const Load load{permille(now->busy - before_.busy, now->all - before_.all),
                    static_cast<std::uint32_t>(*memoryKib / 1024)};
    before_ = *now;
    return load;
}

// The first line is "cpu" and the sums over all processors, in ticks.
std::optional<LoadReader::CpuTimes> LoadReader::readCpuTimes() const {
    std::ifstream file(folder_ + "/stat");
    std::string cpu;
    std::uint64_t user, nice, system, idle, ioWait, irq, softIrq, steal;
    file >> cpu >> user >> nice >> system >> idle >> ioWait >> irq >> softIrq >> steal;
    if (!file) {
        return std::nullopt;
    }
    const std::uint64_t busy = user + nice + system + irq + softIrq + steal;
    return CpuTimes{busy, busy + idle};  // without the waits for disks, which may count backwards
}

// Lines like "MemTotal:       24689764 kB".
std::optional<std::uint64_t> LoadReader::readUsedMemoryKib() const {
    std::ifstream file(folder_ + "/meminfo");
    std::optional<std::uint64_t> total;
    std::optional<std::uint64_t> available;
    std::string name, unit;
    std::uint64_t value;
    while (file >> name >> value && std::getline(file, unit)) {
        if (name == "MemTotal:") {
            total = value;
        } else if (name == "MemAvailable:") {
            available = value;
        }
    }
    return total && available ? std::optional(*total - *available) : std::nullopt;
}

}  // namespace LoadMonitor
