// commandName.h: where a command can be found.
//
// Private header of rci.
#ifndef RCI_COMMANDNAME_H
#define RCI_COMMANDNAME_H

#include <string>
#include <string_view>

namespace Rci {

constexpr std::string_view kMailboxPrefix = "RCI:";

// The name of the mailboxes at which the command `name` is served.
std::string mailboxNameOf(const std::string& name);

// Whether a mailbox can have that name, which is not empty.
bool isMailboxName(const std::string& mailboxName);

}  // namespace Rci

#endif
