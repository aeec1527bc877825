// exitCodes.h: what rci tells its caller.
//
// Private header of rci.
//
// A command's own result code, 0, 1 or 2, is passed through as it is.
#ifndef RCI_EXITCODES_H
#define RCI_EXITCODES_H

namespace Rci {

constexpr int kExitProblemFound = 1;  // by `rci doctor`
constexpr int kExitFailed = 2;        // also when the end of the command can't be known
constexpr int kExitToolError = 125;   // rci was called wrongly or could not do its part
constexpr int kExitNoCommand = 127;   // nobody serves the command

}  // namespace Rci

#endif
