// backlog.h: when a sender is too far ahead of its receiver.
//
// Private header of platform/itc.
//
// Where a sender and its receiver share a processor, the sender runs until its time slice is over,
// and what waits grows out of the caches: each message then costs half as much again. So a sender
// that is far ahead offers its processor to others now and then. It is not blocked by that: where
// nobody else wants the processor, or only those of a lower real-time priority, it goes on at once.
// (Under SCHED_DEADLINE it gives up the rest of its period.)
//
// It must have used most of its time slice by then. The kernel counts the rest of the slice as used
// (Linux 6.18), and what a sender has not used the receiver may: with offers from 2048 messages on,
// two senders fell so far behind that the receiver took the processor at every message, which made
// a hundred thousand switches for a million messages instead of five hundred.
#ifndef ITC_BACKLOG_H
#define ITC_BACKLOG_H

#include <cstdint>

#include <sched.h>

namespace itc {

constexpr std::uint64_t kFarAhead = 16384;
constexpr std::uint64_t kMessagesPerOffer = 1024;

// `waiting` messages are there that the receiver has not fetched yet, the sender's newest included.
inline bool isTimeToOfferProcessor(std::uint64_t waiting) {
    return waiting >= kFarAhead && waiting % kMessagesPerOffer == 0;
}

inline void offerProcessor() {
    sched_yield();  // never fails on Linux
}

}  // namespace itc

#endif
