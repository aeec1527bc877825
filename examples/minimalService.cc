// minimalService.cc: a service with one command.
//
// Start it, and in another terminal: rci run greet world

#include <itc.h>
#include <itc_admin.h>
#include <quoria/command/commandRegistryIf.h>
#include <quoria/eventLoop/eventLoopIf.h>
#include <quoria/itcMessageSubscription/itcMessageSubscriptionIf.h>

#include <iostream>

using namespace Quoria::CommandTypes;
using Quoria::CommandRegistry::V1::CommandRegistryIf;
using Quoria::EventLoop::V1::EventLoopIf;
using Quoria::ItcMessageSubscription::V1::ItcMessageSubscriptionIf;

int main() {
    if (itc_create_mailbox("minimalService", 0) == ITC_NO_MAILBOX) {
        std::cerr << itc_error_text() << std::endl;
        return 1;
    }
    ItcMessageSubscriptionIf::getInstance().monitorItcFd(itc_get_fd());

    const auto greet = [](const std::vector<std::string>& args, std::ostream& out) {
        if (args.size() != 1) {
            out << "usage: greet NAME\n";
            return InvalidArguments;
        }
        out << "Hello, " << args[0] << "!\n";
        return Success;
    };
    CommandRegistryIf::getInstance()->registerCommandHandler("greet", greet, false);

    return EventLoopIf::getInstance()->run() == EventLoopIf::OK ? 0 : 1;
}
