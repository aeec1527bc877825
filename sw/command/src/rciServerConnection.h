// rciServerConnection.h: what a server knows of a connected client.
//
// Private header of command.
//
// Shared by the server's table and every job of the connection. The server thread alone changes
// it; the jobs' threads read it.
#ifndef QUORIA_COMMAND_RCISERVERCONNECTION_H
#define QUORIA_COMMAND_RCISERVERCONNECTION_H

#include <atomic>
#include <cstdint>
#include <string>

namespace Quoria::CommandRegistry::Backend {

struct RciServerConnection {
    RciServerConnection(const std::string& command, std::uint32_t clientsReference,
                        std::uint32_t monitorHandle)
        : commandName(command),
          clientConnectionRef(clientsReference),
          monitorRef(monitorHandle),
          connected(true) {}

    const std::string commandName;
    const std::uint32_t clientConnectionRef;
    const std::uint32_t monitorRef;  // of this thread's mailbox monitor, for the client's mailbox

    // False once the client has disconnected or died. It decides only whether to send, so nothing
    // is ordered by it: a job that reads it late sends to a mailbox that is gone or does not
    // listen.
    std::atomic<bool> connected;
    static_assert(sizeof(std::atomic<bool>) == sizeof(bool));

    bool isConnected() const { return connected.load(std::memory_order_relaxed); }
    void close() { connected.store(false, std::memory_order_relaxed); }
};

}  // namespace Quoria::CommandRegistry::Backend

#endif
