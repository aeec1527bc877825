// locateBlocks.h: the content of locate indications on their way to and from the fake libitc.
//
// Test support.
//
// One thread at a time.
#ifndef QUORIA_ITCMAILBOXLOCATOR_TEST_LOCATEBLOCKS_H
#define QUORIA_ITCMAILBOXLOCATOR_TEST_LOCATEBLOCKS_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace QuoriaTest::LocateBlocks {

// Forgets everything. A fixture starts with it.
void reset();

// The identities in the blocks that itc_locate_async has been given since the last call, in order.
std::vector<std::uint32_t> takeIdentities();

// Queues an indication of `size` bytes from `mailbox`. One too short for an identity has none.
void queueIndication(std::uint32_t identity, std::uint32_t mailbox, std::size_t size = 8);

}  // namespace QuoriaTest::LocateBlocks

#endif
