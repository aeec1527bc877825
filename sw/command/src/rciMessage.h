// rciMessage.h: builds and takes apart the messages of rciProtocol.h.
//
// Private header of command.
//
// Any thread. A message that is built belongs to the caller, who sends it; null means that itc
// gave no block of that size. A reader only looks: the message stays its owner's.
#ifndef QUORIA_COMMAND_RCIMESSAGE_H
#define QUORIA_COMMAND_RCIMESSAGE_H

#include "rciProtocol.h"

#include <quoria/itc/itcOperations.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <type_traits>
#include <vector>

namespace Quoria::Command::Backend {

// Builds a message with the content `layout`, followed by `extra` bytes that the caller fills.
template <class Layout>
itc_msg* buildRciMessage(const Layout& layout, std::size_t extra = 0) {
    static_assert(std::is_trivially_copyable_v<Layout>);
    const std::size_t size = sizeof(Layout) + extra;
    itc_msg* msg = size <= std::numeric_limits<std::uint32_t>::max()
                       ? Itc::alloc(size, layout.msgno)
                       : nullptr;
    if (msg != nullptr) {
        std::memcpy(static_cast<void*>(msg), &layout, sizeof(Layout));
    }
    return msg;
}

itc_msg* buildRciConnectReq(std::uint32_t clientRef, std::uint32_t clientConnectionRef,
                            const std::string& commandName);

// The arguments must not hold a NUL.
itc_msg* buildRciExecuteReq(std::uint32_t clientRef, std::uint32_t connectionRef,
                            const std::vector<std::string>& args);

// The size of the message that buildRciExecuteReq() would build.
std::size_t sizeOfRciExecuteReq(const std::vector<std::string>& args);

itc_msg* buildRciOutputInd(std::uint32_t clientRef, std::uint32_t clientConnectionRef,
                           const char* text, std::size_t textLength);
// A character that is written on its own takes up one of the spare bytes: 20 bytes in all.
itc_msg* buildRciOutputInd(std::uint32_t clientRef, std::uint32_t clientConnectionRef,
                           char character);

// Reads a message from its beginning to its end, and never behind it. Only if the libitc in use
// can't tell the size of a block is it read as it says itself that it is laid out. An operation
// that returns false has found the message too short.
class RciMessageReader {
public:
    explicit RciMessageReader(const itc_msg* msg);

    template <class Layout>
    bool readLayout(Layout& layout) {
        static_assert(std::is_trivially_copyable_v<Layout>);
        return read(&layout, sizeof(Layout));
    }

    // Tells in `found` whether `wanted` is one of the next `count` words.
    bool searchWords(std::uint32_t count, std::uint32_t wanted, bool& found);

    // Reads a length word and that many bytes.
    bool readCountedText(std::string& text);

    // Reads `count` texts that end with a NUL each.
    bool readTerminatedTexts(std::uint32_t count, std::vector<std::string>& texts);

    // The bytes that are left, `wanted` of them at most.
    std::size_t available(std::size_t wanted) const;
    const char* position() const { return next_; }

private:
    bool read(void* destination, std::size_t length);
    bool readTerminatedText(std::string& text);
    void skip(std::size_t length);

    const char* next_;
    std::size_t remaining_;  // without meaning unless the size is known
    const bool sizeIsKnown_;
};

}  // namespace Quoria::Command::Backend

#endif
