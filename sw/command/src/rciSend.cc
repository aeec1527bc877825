#include "rciSend.h"

#include <quoria/trace/trace.h>

#include <ios>

namespace Quoria::CommandRegistry::Backend {

void sendRci(itc_msg* msg, std::uint32_t receiver, std::uint32_t sender) {
    if (msg == nullptr) {
        QTRACE_ERROR("itc_alloc failed for a message to mailbox: 0x" << std::hex << receiver);
        return;
    }
    Itc::send(&msg, receiver, sender);
}

}  // namespace Quoria::CommandRegistry::Backend
