// ownMailbox.h: the mailbox of rci itself.
//
// Private header of rci.
#ifndef RCI_OWNMAILBOX_H
#define RCI_OWNMAILBOX_H

namespace Rci {

// Creates it for the calling thread. Throws std::runtime_error.
void createOwnMailbox();

}  // namespace Rci

#endif
