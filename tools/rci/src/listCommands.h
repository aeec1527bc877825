// listCommands.h: the commands that can be reached now.
//
// Private header of rci.
#ifndef RCI_LISTCOMMANDS_H
#define RCI_LISTCOMMANDS_H

namespace Rci {

// Writes them to standard output, ordered by name: for people as a table with a heading, or for
// programs as a JSON array of objects with the keys command, mailbox, pid and process. Of mailboxes
// that serve the same command, the one that a client gets is listed. Returns the exit code. Throws
// OutputFailed, and std::runtime_error when the domain can't be used.
int listCommands(bool asJson);

}  // namespace Rci

#endif
