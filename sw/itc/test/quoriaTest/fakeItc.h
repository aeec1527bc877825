// fakeItc.h: a libitc that a test watches and feeds.
//
// Test support.
//
// It defines the two-underscore entry points: link quoria_fakeItc into a test and the code under
// test calls it instead of libitc. There is one mailbox for the whole process, and nothing waits.
// All operations may be called on any thread.
#ifndef QUORIATEST_FAKEITC_H
#define QUORIATEST_FAKEITC_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

struct itc_msg;

namespace QuoriaTest::FakeItc {

// Forgets all calls, names and messages. A fixture starts with it.
void reset();

// The calls since the last takeCalls(), in order, as text: "itc_alloc(4, 0x1707091)". Numbers that
// are message numbers or mailboxes are hexadecimal, a block is shown as its message number.
std::vector<std::string> takeCalls();
// Of these calls, those of the operation `name`.
std::vector<std::string> takeCallsOf(const std::string& name);

// What itc_current_mbox says from now on; 1 after reset().
void setCurrentMailbox(std::uint32_t mailbox);
void setName(std::uint32_t mailbox, const std::string& name);

// Queues a message of `size` bytes, to be received from `sender`.
void queueMessage(std::uint32_t msgNo, std::uint32_t sender, std::size_t size = 4);
// Queues all indications that itc_monitor has been given for `mailbox`.
void endMailbox(std::uint32_t mailbox);

std::size_t messagesQueued();

// Blocks that were made by itc_alloc or queueMessage and not freed yet.
std::size_t blocksInUse();
// Successful frees since reset(). Freeing what is no block fails the test.
std::size_t blocksFreed();

}  // namespace QuoriaTest::FakeItc

#endif
