// bell.h: how senders wake the receiver of a mailbox.
//
// Private header of platform/itc.
//
// A bell is a FIFO in the folder of the receiver's process, opened for reading and writing on both
// sides, so that no end can vanish. MailboxRecord::bellState says whether it holds a byte:
//
//   sender     publish; read the state; if even and the record still has this bell: write a byte,
//              then move the state to odd, unless it has changed
//
//   receiver   empty the bell; move the state to the next even value; look for messages once more
//
// Either the sender sees the new even state and rings, or the receiver sees the message when it
// looks once more. A sender that is killed after publishing and before ringing leaves the state
// even, so that the next one rings. A byte that the receiver has read belongs to an even value that
// is over, and its sender fails to mark the new one: between two looks of the receiver, odd proves
// that a byte is there. (Were the state moved before the bell is emptied, a byte of the new value
// could be read and marked nevertheless, and the mailbox would stay silent with messages in it.)
//
// A record may pass to the next mailbox, with another bell, between the moment at which a sender
// has found its bell and the moment at which it publishes. What it has published then is no message
// of the next mailbox and needs no ring; but a mark without a byte in the right bell would take all
// later ones away. The state is read first: a bell that is the right one after that belongs to it.
#ifndef ITC_BELL_H
#define ITC_BELL_H

#include "layout.h"

#include <cstdint>

namespace itc {

// For senders in any process, after publishing by a sequentially consistent operation on the
// record's stack: whether the bell must be rung, and ringing it if that is so.
bool isBellSilent(const MailboxRecord& record);
// `bell` is the FIFO of the bell `number`.
void ringBell(MailboxRecord& record, int bell, std::uint32_t number);
// For senders in the receiver's process, after publishing by other means, under a lock.
void ringBellAfterPosting(MailboxRecord& record, int bell, std::uint32_t number);

// For the receiver alone.
void silenceBell(MailboxRecord& record, int bell);
// Writes a byte whatever the state. Used to keep a mailbox readable for what its owner has fetched.
void strikeBell(int bell);

}  // namespace itc

#endif
