#include "commandExecutionJobImpl.h"

#include "rciMessage.h"
#include "rciSend.h"

#include <quoria/trace/trace.h>

namespace Quoria::CommandRegistry::V1 {

namespace Rci = Command::Backend;

CommandExecutionJobImpl::CommandExecutionJobImpl(
    const std::vector<std::string>& args,
    const std::shared_ptr<Backend::RciServerProcedure>& procedure,
    const std::shared_ptr<Backend::RciServerConnection>& connection)
    : args_(args),
      procedure_(procedure),
      connection_(connection),
      streamBuf_(procedure, connection),
      out_(&streamBuf_) {}

const std::string& CommandExecutionJobImpl::getCommandName() {
    return connection_->commandName;
}

const std::vector<std::string>& CommandExecutionJobImpl::getArgs() {
    return args_;
}

std::ostream& CommandExecutionJobImpl::getOutStream() {
    return out_;
}

void CommandExecutionJobImpl::done(const CommandTypes::CommandResultCode& result) {
    if (!connection_->isConnected()) {
        return;
    }
    const std::string& name = connection_->commandName;
    Rci::RciResult sent = Rci::kRciResultFailed;
    switch (result) {
        case CommandTypes::Success:
            sent = Rci::kRciResultSuccess;
            QTRACE_TRACE1("-", "Execution of command '" << name << "' succeeded");
            break;
        case CommandTypes::InvalidArguments:
            sent = Rci::kRciResultInvalidArguments;
            QTRACE_TRACE1("-",
                          "Execution of command '" << name << "' failed with invalid arguments");
            break;
        default:
            QTRACE_TRACE1("-", "Execution of command '" << name << "' failed");
            break;
    }
    const Rci::RciExecuteResultInd indication{Rci::kRciExecuteResultIndMsgNo, procedure_->clientRef,
                                              connection_->clientConnectionRef, sent};
    Backend::sendRci(Rci::buildRciMessage(indication), procedure_->clientMbox,
                     procedure_->serverMbox);
}

}  // namespace Quoria::CommandRegistry::V1
