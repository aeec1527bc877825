// scriptedItc.h: a libitc that plays the other side of a remote command for a test.
//
// Test support.
//
// It defines the entry points of libitc, so a program that links it must not link the real one. It
// keeps what is sent, byte by byte, gives out what the test has prepared, and never waits. Blocks
// have exactly the size that was asked for, so that AddressSanitizer sees who reads past one.
// All operations may be called on any thread.
#ifndef QUORIATEST_SCRIPTEDITC_H
#define QUORIATEST_SCRIPTEDITC_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

struct itc_msg;

namespace QuoriaTest {

// The content of a message, put together piece by piece.
class Bytes {
public:
    Bytes& word(std::uint32_t value);
    Bytes& text(const std::string& value);  // without a NUL
    const std::vector<std::uint8_t>& get() const { return bytes_; }

private:
    std::vector<std::uint8_t> bytes_;
};

struct SentMessage {
    std::uint32_t msgno;
    std::uint32_t receiver;
    std::uint32_t sender;
    std::vector<std::uint8_t> bytes;

    std::uint32_t wordAt(std::size_t offset) const;
    std::string textAt(std::size_t offset, std::size_t length) const;
};

struct ReceiveCall {
    std::vector<std::uint32_t> filter;  // the message numbers, without their count
    std::uint32_t timeout;
    std::uint32_t from;
};

namespace ScriptedItc {

// What the operations return until the test says otherwise.
constexpr std::uint32_t kOwnMailbox = 0x21;
constexpr std::uint32_t kLocatedMailbox = 0x32;
constexpr std::uint32_t kMonitorId = 0x43;
constexpr std::uint32_t kCreatedMailbox = 0x54;

// A received block, to be handed to what handles messages.
std::shared_ptr<itc_msg> makeReceived(const Bytes& content, std::uint32_t sender);

// Has itc_receive give this message to the first call whose filter admits it.
void queue(const Bytes& content, std::uint32_t sender = kLocatedMailbox);

void setMaxSize(std::uint32_t size);
void setCurrentMailbox(std::uint32_t mailbox);
void setLocatedMailbox(std::uint32_t mailbox);
void setCreatedMailbox(std::uint32_t mailbox);
// Lets itc_alloc return null for messages of that number.
void failAlloc(std::uint32_t msgNo);

std::vector<SentMessage> sent();
// The blocks that itc_monitor has been given, byte by byte.
std::vector<std::vector<std::uint8_t>> indications();
std::vector<ReceiveCall> receiveCalls();
// The calls that leave a trace with others, in their order: "locate RCI:x", "send 0x17070a0",
// "monitor 0x32 with 0x17070a9", "unmonitor 0x43", "add_name 0x21 RCI:x", "create cmdHandler:x",
// "delete 0x54".
std::vector<std::string> calls();
// Blocks that nobody has freed or handed over yet.
std::size_t blocksInUse();

}  // namespace ScriptedItc
}  // namespace QuoriaTest

#endif
