// rciClient.h: the client's side of remote commands.
//
// Private header of command.
//
// One thread at a time, which must own a mailbox; every operation but the first two blocks it.
// The failures that its user gets to know are lines on the stream `out`.
#ifndef QUORIA_COMMAND_RCICLIENT_H
#define QUORIA_COMMAND_RCICLIENT_H

#include <quoria/command/commandTypes.h>
#include <quoria/itc/itcOperations.h>

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

namespace Quoria::Command::Backend {

class RciClient {
public:
    explicit RciClient(const std::string& name);

    // Forgets the connection without telling the server.
    void reset();
    // True also after an attempt to connect that the server rejected or did not answer.
    bool isConnected() const;

    // Returns whether the server has accepted. reset() must come before another attempt.
    bool connectToServer(std::ostream& out);

    // Runs the command once over the connection and writes its output to `out`. May be called again
    // unless the client is not connected any more.
    CommandTypes::CommandResultCode executeRemoteCmd(const std::vector<std::string>& args,
                                                     std::ostream& out);

    // Ends the connection, if there is one.
    void disconnectFromServer();

private:
    bool handleConnectCfm(const itc_msg* msg, std::ostream& out);
    bool sendExecuteReq(const std::vector<std::string>& args, std::ostream& out);

    std::string name_;
    std::uint32_t serverMailbox_;
    std::uint32_t revision_;
    std::uint32_t connectionRef_;
    std::uint32_t monitorId_;
};

}  // namespace Quoria::Command::Backend

#endif
