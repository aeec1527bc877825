#include "commandImpl.h"

#include "rciClient.h"

namespace Quoria::Command::V1 {

CommandImpl::CommandImpl(const std::string& name) : name_(name) {}

CommandTypes::CommandResultCode CommandImpl::execute(const std::vector<std::string>& args,
                                                     std::ostream& out) {
    Backend::RciClient client(name_);
    CommandTypes::CommandResultCode result = CommandTypes::Failed;
    if (client.connectToServer(out)) {
        result = client.executeRemoteCmd(args, out);
        client.disconnectFromServer();
    }
    return result;
}

}  // namespace Quoria::Command::V1
