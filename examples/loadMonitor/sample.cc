#include "sample.h"

namespace LoadMonitor {

std::string toText(const Sample& sample) {
    return "#" + std::to_string(sample.number) + "  cpu " +
           std::to_string(sample.cpuPermille / 10) + "." + std::to_string(sample.cpuPermille % 10) +
           " %  memory " + std::to_string(sample.memoryMib) + " MiB";
}

}  // namespace LoadMonitor
