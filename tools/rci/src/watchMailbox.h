// watchMailbox.h: the coming and going of one mailbox.
//
// Private header of rci.
#ifndef RCI_WATCHMAILBOX_H
#define RCI_WATCHMAILBOX_H

#include <string>

namespace Rci {

// Waits for a mailbox called `name` and then for its end, and writes each to standard output as it
// happens: for people a line of words, for programs a line with a JSON object. Of several mailboxes
// with that name, the one that has it for the longest time is watched. Returns the exit code.
// Throws OutputFailed, and std::runtime_error when the domain can't be used.
int watchMailbox(const std::string& name, bool asJson);

}  // namespace Rci

#endif
