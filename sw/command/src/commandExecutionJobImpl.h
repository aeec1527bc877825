// commandExecutionJobImpl.h: one execution of a command for a remote client.
//
// Private header of command.
//
// Any thread, one at a time. It owns its arguments and its stream and shares the two records;
// the server thread may close the connection at any time.
#ifndef QUORIA_COMMAND_COMMANDEXECUTIONJOBIMPL_H
#define QUORIA_COMMAND_COMMANDEXECUTIONJOBIMPL_H

#include "itcStreamBuf.h"

#include <quoria/command/commandExecutionJobIf.h>

#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace Quoria::CommandRegistry::V1 {

class CommandExecutionJobImpl : public CommandExecutionJobIf {
public:
    CommandExecutionJobImpl(const std::vector<std::string>& args,
                            const std::shared_ptr<Backend::RciServerProcedure>& procedure,
                            const std::shared_ptr<Backend::RciServerConnection>& connection);
    // Sends nothing: without done() the client gets no result.
    ~CommandExecutionJobImpl() override = default;
    CommandExecutionJobImpl(const CommandExecutionJobImpl&) = delete;
    CommandExecutionJobImpl& operator=(const CommandExecutionJobImpl&) = delete;

    const std::string& getCommandName() override;
    const std::vector<std::string>& getArgs() override;
    std::ostream& getOutStream() override;
    // Sends a result each time it is called.
    void done(const CommandTypes::CommandResultCode& result) override;

private:
    const std::vector<std::string> args_;
    const std::shared_ptr<Backend::RciServerProcedure> procedure_;
    const std::shared_ptr<Backend::RciServerConnection> connection_;
    Backend::ItcStreamBuf streamBuf_;
    std::ostream out_;
};

}  // namespace Quoria::CommandRegistry::V1

#endif
