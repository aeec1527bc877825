// listMailboxes.h: all mailboxes of the domain.
//
// Private header of rci.
#ifndef RCI_LISTMAILBOXES_H
#define RCI_LISTMAILBOXES_H

namespace Rci {

// Writes them to standard output, ordered by id: for people as a table with a heading, or for
// programs as a JSON array of objects with the keys mailbox, names, process, pid, thread, tid,
// queued, queued_bytes, most_queued and age_ms. Returns the exit code. Throws OutputFailed, and
// std::runtime_error when the domain can't be used.
int listMailboxes(bool asJson);

}  // namespace Rci

#endif
