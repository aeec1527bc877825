// heapBlocks.h: memory for the messages that stay in this process.
//
// Private header of platform/itc.
//
// A message is allocated by one thread and freed by another, which the heap of the C library
// answers with a lock per message. So small blocks are kept for the next message, by size: each
// thread has a few of its own, and passes chains of them on to the others through a depot. The
// depot is bounded, and is never waited for: who finds it locked, a forked child for instance,
// turns to the heap.
#ifndef ITC_HEAPBLOCKS_H
#define ITC_HEAPBLOCKS_H

#include "layout.h"

#include <cstdint>

namespace itc {

// A block for a message of `size` bytes with nothing in it, not even its size; null if there is no
// memory.
Block* takeHeapBlock(std::uint32_t size);
// Takes back a block whose message has the size that it was taken for.
void giveHeapBlock(Block* block);

}  // namespace itc

#endif
