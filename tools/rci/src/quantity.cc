#include "quantity.h"

#include <cstddef>
#include <cstdio>

namespace Rci {

namespace {

struct Unit {
    const char* name;
    std::uint64_t seconds;
};

constexpr Unit kUnits[] = {{" d", 86400}, {" h", 3600}, {" min", 60}, {" s", 1}};
constexpr std::size_t kSmallest = sizeof kUnits / sizeof kUnits[0] - 1;

}  // namespace

std::string durationText(std::uint64_t milliseconds) {
    const std::uint64_t seconds = milliseconds / 1000;
    std::size_t at = 0;
    while (at < kSmallest && seconds < kUnits[at].seconds) {
        ++at;
    }
    std::string text = std::to_string(seconds / kUnits[at].seconds) + kUnits[at].name;
    if (at < kSmallest) {
        const Unit& next = kUnits[at + 1];
        const std::uint64_t rest = seconds % kUnits[at].seconds / next.seconds;
        text += rest == 0 ? "" : " " + std::to_string(rest) + next.name;
    }
    return text;
}

std::string sizeText(std::uint64_t bytes) {
    if (bytes < 1024) {
        return std::to_string(bytes) + " B";
    }
    const char* unit = " KiB";
    auto amount = static_cast<double>(bytes) / 1024;
    for (const char* larger : {" MiB", " GiB", " TiB"}) {
        if (amount >= 1024) {
            amount /= 1024;
            unit = larger;
        }
    }
    char text[32];
    std::snprintf(text, sizeof text, "%.1f", amount);
    return text + std::string(unit);
}

}  // namespace Rci
