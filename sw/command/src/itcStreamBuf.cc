#include "itcStreamBuf.h"

#include "rciMessage.h"
#include "rciSend.h"

#include <algorithm>

namespace Quoria::CommandRegistry::Backend {

namespace {

// A message holds at least one byte of text, so that cutting up ends, whatever itc says.
std::size_t roomForText() {
    constexpr std::size_t kAround =
        sizeof(Command::Backend::RciOutputInd) + Command::Backend::kRciSpareBytes;
    const std::size_t maxSize = Itc::maxSize();
    return maxSize > kAround ? maxSize - kAround : 1;
}

}  // namespace

ItcStreamBuf::ItcStreamBuf(const std::shared_ptr<RciServerProcedure>& procedure,
                           const std::shared_ptr<RciServerConnection>& connection)
    : procedure_(procedure), connection_(connection) {}

std::streamsize ItcStreamBuf::xsputn(const char* s, std::streamsize n) {
    if (n < 0 || !connection_->isConnected()) {
        return n;
    }
    const std::size_t room = roomForText();
    auto remaining = static_cast<std::size_t>(n);
    // Also a write of nothing is a message.
    for (;;) {
        const std::size_t chunk = std::min(remaining, room);
        send(Command::Backend::buildRciOutputInd(procedure_->clientRef,
                                                 connection_->clientConnectionRef, s, chunk));
        if (chunk == remaining) {
            return n;
        }
        s += chunk;
        remaining -= chunk;
    }
}

int ItcStreamBuf::overflow(int c) {
    const auto byte = static_cast<unsigned char>(c);
    if (c != traits_type::eof() && connection_->isConnected()) {
        send(Command::Backend::buildRciOutputInd(
            procedure_->clientRef, connection_->clientConnectionRef, static_cast<char>(byte)));
    }
    // Never the end of file, which would put the stream into a failed state.
    return byte;
}

void ItcStreamBuf::send(itc_msg* output) {
    sendRci(output, procedure_->clientMbox, procedure_->serverMbox);
}

}  // namespace Quoria::CommandRegistry::Backend
