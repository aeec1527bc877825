// worker.h: one life of a process full of players.
//
// Private header of platform/itc's chaos test.
#ifndef ITC_CHAOS_WORKER_H
#define ITC_CHAOS_WORKER_H

#include "board.h"

namespace ItcChaos {

// This one is stopped now and then like all others, but never killed, and counts at its end what it
// has left over.
constexpr unsigned kSurvivor = 0;
// The last process to come. Who has talked to it has given up what it had of the dead: descriptors
// when it reaches somebody new, memory of its inbox when somebody else needs some.
constexpr char kLastName[] = "last";
void letGoOfTheDead();
[[noreturn]] void liveAsLast();
void dismissLast();

// In a process of its own, from its start to its end.
[[noreturn]] void liveAsWorker(const World& world, unsigned worker, unsigned life);

}  // namespace ItcChaos

#endif
