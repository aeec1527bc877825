// commandName.h: where a command can be found.
//
// Private header of command.
//
// Any thread.
#ifndef QUORIA_COMMAND_COMMANDNAME_H
#define QUORIA_COMMAND_COMMANDNAME_H

#include <string>

namespace Quoria::Command::Backend {

// The name of the mailboxes at which the command `commandName` is served.
std::string mailboxNameOf(const std::string& commandName);

// Whether a mailbox can have that name.
bool isMailboxName(const std::string& name);

}  // namespace Quoria::Command::Backend

#endif
