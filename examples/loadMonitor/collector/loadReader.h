// loadReader.h: how busy this machine is, from the kernel's figures in /proc.
//
// Another folder than /proc, the host's from within a container for instance, is named by the
// environment variable LOAD_MONITOR_PROC.
#ifndef LOADMONITOR_LOADREADER_H
#define LOADMONITOR_LOADREADER_H

#include <cstdint>
#include <optional>
#include <string>

namespace LoadMonitor {

class LoadReader {
public:
    struct Load {
        std::uint32_t cpuPermille;
        std::uint32_t memoryMib;
    };

    LoadReader();

    // The load since the call before, or since the machine was started. Nothing if there are no
    // such figures.
    std::optional<Load> read();

    const std::string& folder() const { return folder_; }

private:
    struct CpuTimes {
        std::uint64_t busy = 0;
        std::uint64_t all = 0;
    };

    std::optional<CpuTimes> readCpuTimes() const;
    std::optional<std::uint64_t> readUsedMemoryKib() const;

    const std::string folder_;
    CpuTimes before_;
};

}  // namespace LoadMonitor

#endif
