// rciServerProcedure.h: where the output and the result of one execution go.
//
// Private header of command.
//
// Shared by the job and its stream; never changes.
#ifndef QUORIA_COMMAND_RCISERVERPROCEDURE_H
#define QUORIA_COMMAND_RCISERVERPROCEDURE_H

#include <cstdint>

namespace Quoria::CommandRegistry::Backend {

struct RciServerProcedure {
    RciServerProcedure(std::uint32_t clientsReference, std::uint32_t client, std::uint32_t server)
        : clientRef(clientsReference), clientMbox(client), serverMbox(server) {}

    const std::uint32_t clientRef;   // of the execute request
    const std::uint32_t clientMbox;  // who asked
    const std::uint32_t serverMbox;  // who answers, whichever thread it sends from
};

}  // namespace Quoria::CommandRegistry::Backend

#endif
