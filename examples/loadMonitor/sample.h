// sample.h: one sample of the machine's load, and the message that carries it.
#ifndef LOADMONITOR_SAMPLE_H
#define LOADMONITOR_SAMPLE_H

#include <cstdint>
#include <string>

namespace LoadMonitor {

struct Sample {
    std::uint32_t number;       // counts the samples of a collector, from 1
    std::uint32_t cpuPermille;  // how busy all processors were since the sample before
    std::uint32_t memoryMib;    // in use
};

// The store has a mailbox of this name and takes this message; that is all the collector knows. Any
// message number will do but those of the library, 0x01707090 to 0x017070A9.
inline constexpr const char* kStoreName = "sampleStore";
inline constexpr std::uint32_t kSampleMsgNo = 0x00A10001;

struct SampleMsg {
    std::uint32_t msgNo;
    Sample sample;
};

// One line without its end: "#17  cpu 23.4 %  memory 1234 MiB".
std::string toText(const Sample& sample);

}  // namespace LoadMonitor

#endif
