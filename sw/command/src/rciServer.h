// rciServer.h: the server side of remote commands on one thread.
//
// Private header of command.
//
// Made, used and destroyed by its thread alone, which must own a mailbox and feed it to its
// message subscription; nothing is locked. It owns the invokers and shares the connections with
// the jobs.
#ifndef QUORIA_COMMAND_RCISERVER_H
#define QUORIA_COMMAND_RCISERVER_H

#include "rciServerConnection.h"

#include <quoria/command/commandExecutionJobIf.h>
#include <quoria/util/export.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <unordered_map>

struct itc_msg;

namespace Quoria::CommandRegistry::Backend {

// Runs a command: called with the job of one execution, it sees to it that the job gets done.
using CommandInvoker = std::function<void(const std::shared_ptr<V1::CommandExecutionJobIf>&)>;

class QUORIA_EXPORT RciServer {
public:
    // The calling thread's server, made on first use; never null.
    static RciServer* getThreadLocalInstance();
    // Destroys the calling thread's server, if there is one; a command that it runs may do so. The
    // handlers that it leaves in the message subscription and the mailbox monitor do nothing from
    // then on, but a new server can't take their place: it gets no request unless the subscription
    // is reset as well.
    static void reset();

    RciServer();
    ~RciServer();
    RciServer(const RciServer&) = delete;
    RciServer& operator=(const RciServer&) = delete;

    // Makes the command reachable. Of two invokers with one name the first stays.
    void registerCommandInvoker(const std::string& name, const CommandInvoker& invoker);
    // Clients that are connected stay so, but get no result any more; new ones are rejected. itc
    // can't take a name away, so clients still find the mailbox.
    void deregisterCommandInvoker(const std::string& name);

    void handleConnectMsg(const std::shared_ptr<itc_msg>& msg);
    void handleExecuteCommandMsg(const std::shared_ptr<itc_msg>& msg);
    void handleDisconnectMsg(const std::shared_ptr<itc_msg>& msg);
    // The client of this connection is gone.
    void handleItcMailboxMonitorInd(unsigned int connectionRef);
    // May destroy this server.
    void invokeCmd(const std::shared_ptr<V1::CommandExecutionJobIf>& job);

private:
    friend class RciServerProbe;

    void init();
    void acceptConnection(const std::string& name, std::uint32_t clientRef,
                          std::uint32_t clientConnectionRef, std::uint32_t client);

    std::uint32_t lastConnectionRef_ = 0;
    std::unordered_map<std::uint32_t, std::shared_ptr<RciServerConnection>> connections_;
    std::unordered_map<std::string, CommandInvoker> commandInvokers_;
    // Null once the server is gone; what was registered elsewhere looks here before it calls in.
    const std::shared_ptr<RciServer*> self_;
};

}  // namespace Quoria::CommandRegistry::Backend

#endif
