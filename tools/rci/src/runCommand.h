// runCommand.h: runs one command and shows what it prints.
//
// Private header of rci.
#ifndef RCI_RUNCOMMAND_H
#define RCI_RUNCOMMAND_H

#include <string>
#include <vector>

namespace Rci {

// Runs the command `name`. Its output goes to standard output as it comes, what prevents it to
// standard error. Returns the exit code. Throws OutputFailed, which leaves the command to its
// server, and std::runtime_error when the domain can't be used.
int runCommand(const std::string& name, const std::vector<std::string>& args);

}  // namespace Rci

#endif
