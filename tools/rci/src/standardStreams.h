// standardStreams.h: the two streams that rci writes to.
//
// Private header of rci.
//
// Both are written at once, past the standard library's buffers.
#ifndef RCI_STANDARDSTREAMS_H
#define RCI_STANDARDSTREAMS_H

#include <string_view>
#include <system_error>

namespace Rci {

// Standard output can't be written, for the reason that code() tells.
class OutputFailed : public std::system_error {
    using std::system_error::system_error;
};

// Prepares the process: a reader that goes away becomes an error of write() instead of a signal,
// and a standard stream that the caller has closed fails instead of lending its number to another
// file. Throws std::system_error.
void prepareStandardStreams();

// Writes all of `text`, however long that takes. Throws OutputFailed.
void writeOutput(std::string_view text);

// Writes `text` as one line of standard error, control characters shown as escapes.
void complain(std::string_view text);

}  // namespace Rci

#endif
