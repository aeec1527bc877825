// bell.h: how senders wake the receiver of a mailbox.
//
// Private header of platform/itc.
//
// A bell is a FIFO in the folder of the receiver's process, opened for reading and writing on both
// sides, so that no end can vanish. MailboxRecord::bellState says whether it holds a byte. It
// counts eras, and two bits of it say what has happened in the era that goes on:
//
//   sender     publish; read the state; unless the bell is known to ring: say that a stroke is
//              under way; if the record still has this bell, write a byte, then say that the bell
//              rings, unless the era is over
//
//   receiver   empty the bell; begin the next era, with neither bit; look for messages once more
//
// Either the sender sees the new era and rings, or the receiver sees the message when it looks once
// more. A sender that is killed after publishing and before ringing leaves the bell not known to
// ring, so that the next one rings. A byte that the receiver has read belongs to an era that is
// over, and its sender fails to mark the new one: between two looks of the receiver, the mark
// proves that a byte is there. (Were the era begun before the bell is emptied, a byte of it could
// be read and marked nevertheless, and the mailbox would stay silent with messages in it.)
//
// That a stroke is under way proves nothing: its sender may be killed before it. It is a hint. A
// receiver that is woken often runs before its sender has come back from write(); without the hint
// it would leave the byte in the bell and be woken by it once more.
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

// Whether the bell is known to hold a byte. A sender in another process asks after publishing by a
// sequentially consistent operation on the record's stack, and does not ring if that is so.
bool isBellKnownToRing(const MailboxRecord& record);
// Rings the bell unless it is known to ring. `bell` is the FIFO of the bell `number`.
void ringBell(MailboxRecord& record, int bell, std::uint32_t number);

// For the receiver alone.

// Whether the bell holds a byte, or soon will, unless a sender was killed.
bool mayBellRing(const MailboxRecord& record);
void silenceBell(MailboxRecord& record, int bell);
// Writes a byte whatever the state. Used to keep a mailbox readable for what its owner has fetched.
void strikeBell(int bell);

}  // namespace itc

#endif
