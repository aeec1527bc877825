// rciSend.h: sends a message of the server.
//
// Private header of command.
//
// Any thread.
#ifndef QUORIA_COMMAND_RCISEND_H
#define QUORIA_COMMAND_RCISEND_H

#include <quoria/itc/itcOperations.h>

#include <cstdint>

namespace Quoria::CommandRegistry::Backend {

// Sends a message as it comes from the builders and takes it over. A null, which they return when
// itc gives no block, is reported; the receiver then misses this message.
void sendRci(itc_msg* msg, std::uint32_t receiver, std::uint32_t sender);

}  // namespace Quoria::CommandRegistry::Backend

#endif
