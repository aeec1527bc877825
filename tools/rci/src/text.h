// text.h: names that may hold any byte, made fit to be shown.
//
// Private header of rci.
#ifndef RCI_TEXT_H
#define RCI_TEXT_H

#include <cstddef>
#include <string>
#include <string_view>

namespace Rci {

// For people: UTF-8 on one line, without a byte that could move a terminal's cursor. Control
// characters and what is not UTF-8 become \xHH, byte by byte.
std::string printable(std::string_view text);

// The number of characters of a printable text.
std::size_t width(std::string_view printableText);

// For programs: a JSON string, quotes included. Bytes that are not UTF-8 become U+FFFD, since JSON
// has no way to carry them.
std::string jsonString(std::string_view text);

}  // namespace Rci

#endif
