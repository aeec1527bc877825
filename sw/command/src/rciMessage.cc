#include "rciMessage.h"

#include <algorithm>

namespace Quoria::Command::Backend {

namespace {

// Writes one thing after the other into the part of a message that follows its layout. What follows
// a text has no alignment to speak of, hence the copying.
class Filler {
public:
    Filler(itc_msg* msg, std::size_t offset) : next_(reinterpret_cast<char*>(msg) + offset) {}

    void word(std::uint32_t value) { bytes(reinterpret_cast<const char*>(&value), sizeof value); }

    void bytes(const char* source, std::size_t length) {
        next_ = std::copy_n(source, length, next_);
    }

    // Blocks are reused: nothing of what they held before may reach another process.
    void spareBytes() { next_ = std::fill_n(next_, kRciSpareBytes, '\0'); }

private:
    char* next_;
};

}  // namespace

itc_msg* buildRciConnectReq(std::uint32_t clientRef, std::uint32_t clientConnectionRef,
                            const std::string& commandName) {
    const RciConnectReq request{kRciConnectReqMsgNo, clientRef, clientConnectionRef, 1};
    itc_msg* msg =
        buildRciMessage(request, 2 * sizeof(std::uint32_t) + commandName.size() + kRciSpareBytes);
    if (msg != nullptr) {
        Filler filler(msg, sizeof request);
        filler.word(kRciRevision);
        filler.word(static_cast<std::uint32_t>(commandName.size()));
        filler.bytes(commandName.data(), commandName.size());
        filler.spareBytes();
    }
    return msg;
}

std::size_t sizeOfRciExecuteReq(const std::vector<std::string>& args) {
    std::size_t size = sizeof(RciExecuteReq) + kRciSpareBytes;
    for (const std::string& arg : args) {
        size += arg.size() + 1;
    }
    return size;
}

itc_msg* buildRciExecuteReq(std::uint32_t clientRef, std::uint32_t connectionRef,
                            const std::vector<std::string>& args) {
    const RciExecuteReq request{kRciExecuteReqMsgNo, clientRef, connectionRef,
                                static_cast<std::uint32_t>(args.size())};
    itc_msg* msg = buildRciMessage(request, sizeOfRciExecuteReq(args) - sizeof request);
    if (msg != nullptr) {
        Filler filler(msg, sizeof request);
        for (const std::string& arg : args) {
            filler.bytes(arg.c_str(), arg.size() + 1);
        }
        filler.spareBytes();
    }
    return msg;
}

itc_msg* buildRciOutputInd(std::uint32_t clientRef, std::uint32_t clientConnectionRef,
                           const char* text, std::size_t textLength) {
    const RciOutputInd output{kRciOutputIndMsgNo, clientRef, clientConnectionRef,
                              static_cast<std::uint32_t>(textLength)};
    itc_msg* msg = buildRciMessage(output, textLength + kRciSpareBytes);
    if (msg != nullptr) {
        Filler filler(msg, sizeof output);
        filler.bytes(text, textLength);
        filler.spareBytes();
    }
    return msg;
}

itc_msg* buildRciOutputInd(std::uint32_t clientRef, std::uint32_t clientConnectionRef,
                           char character) {
    const RciOutputInd output{kRciOutputIndMsgNo, clientRef, clientConnectionRef, 1};
    itc_msg* msg = buildRciMessage(output, kRciSpareBytes);
    if (msg != nullptr) {
        Filler(msg, sizeof output).spareBytes();
        Filler(msg, sizeof output).bytes(&character, 1);
    }
    return msg;
}

RciMessageReader::RciMessageReader(const itc_msg* msg)
    : next_(reinterpret_cast<const char*>(msg)),
      remaining_(Itc::blockSize(msg)),
      sizeIsKnown_(remaining_ != Itc::kUnknownSize) {}

bool RciMessageReader::searchWords(std::uint32_t count, std::uint32_t wanted, bool& found) {
    if (sizeIsKnown_ && count > remaining_ / sizeof wanted) {
        return false;
    }
    found = false;
    for (std::uint32_t i = 0; i < count; ++i) {
        std::uint32_t word = 0;
        std::memcpy(&word, next_, sizeof word);
        skip(sizeof word);
        found = found || word == wanted;
    }
    return true;
}

bool RciMessageReader::readCountedText(std::string& text) {
    std::uint32_t length = 0;
    if (!read(&length, sizeof length) || available(length) < length) {
        return false;
    }
    text.assign(next_, length);
    skip(length);
    return true;
}

bool RciMessageReader::readTerminatedTexts(std::uint32_t count, std::vector<std::string>& texts) {
    // No space is reserved: the count is the sender's word only.
    for (std::uint32_t i = 0; i < count; ++i) {
        std::string text;
        if (!readTerminatedText(text)) {
            return false;
        }
        texts.push_back(std::move(text));
    }
    return true;
}

std::size_t RciMessageReader::available(std::size_t wanted) const {
    return sizeIsKnown_ ? std::min(remaining_, wanted) : wanted;
}

bool RciMessageReader::read(void* destination, std::size_t length) {
    if (available(length) < length) {
        return false;
    }
    std::memcpy(destination, next_, length);
    skip(length);
    return true;
}

bool RciMessageReader::readTerminatedText(std::string& text) {
    const std::size_t length = sizeIsKnown_ ? strnlen(next_, remaining_) : std::strlen(next_);
    if (sizeIsKnown_ && length == remaining_) {
        return false;
    }
    text.assign(next_, length);
    skip(length + 1);
    return true;
}

void RciMessageReader::skip(std::size_t length) {
    next_ += length;
    remaining_ -= length;
}

}  // namespace Quoria::Command::Backend
