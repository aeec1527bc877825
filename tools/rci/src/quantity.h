// quantity.h: durations and sizes for people.
//
// Private header of rci.
#ifndef RCI_QUANTITY_H
#define RCI_QUANTITY_H

#include <cstdint>
#include <string>

namespace Rci {

// As in "3 s", "2 h 5 min": the two largest units, rounded down, the second one if it is not 0.
std::string durationText(std::uint64_t milliseconds);

// As in "512 B", "1.5 KiB", "64.0 MiB".
std::string sizeText(std::uint64_t bytes);

}  // namespace Rci

#endif
