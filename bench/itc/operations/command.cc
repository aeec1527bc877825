// A command with one line of output, run in another process, in nanoseconds.
//
//   command pinned|free <count>
//
// prints the time of a whole CommandIf::execute (locate, connect, run, disconnect), and of one
// execution over a connection that is open. The service is this program once more: the tracer has
// threads from the start, and a process that has threads had better not go on without exec.

#include "crew.h"
#include "operation.h"
#include "rciClient.h"

#include <quoria/command/commandIf.h>
#include <quoria/command/commandRegistryIf.h>
#include <quoria/eventLoop/eventLoopIf.h>
#include <quoria/itcMessageSubscription/itcMessageSubscriptionIf.h>

#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include <unistd.h>

namespace {

using namespace Bench;
using namespace Quoria::CommandTypes;
using Quoria::Command::Backend::RciClient;
using Quoria::Command::V1::CommandIf;
using Quoria::CommandRegistry::V1::CommandRegistryIf;
using Quoria::EventLoop::V1::EventLoopIf;
using Quoria::ItcMessageSubscription::V1::ItcMessageSubscriptionIf;

constexpr char kService[] = "service";
constexpr char kLine[] = "one line of output, as a command might write it\n";

void serve() {
    const itc_mbox_id_t mailbox = createMailbox("");
    ItcMessageSubscriptionIf::getInstance().monitorItcFd(itc_get_fd());
    CommandRegistryIf* const registry = CommandRegistryIf::getInstance();
    const auto writeLine = [](const std::vector<std::string>&, std::ostream& out) {
        out << kLine;
        return Success;
    };
    const auto stop = [](const std::vector<std::string>&, std::ostream&) {
        EventLoopIf::getInstance()->stop();
        return Success;
    };
    registry->registerCommandHandler("line", writeLine, false);
    registry->registerCommandHandler("stop", stop, false);
    if (!itc_add_name(mailbox, kService)) {
        fail("the service gets no name");
    }
    EventLoopIf::getInstance()->run();
}

void becomeService(const char* program) {
    execlp(program, program, "serve", nullptr);
    failWithErrno(program);
}

void awaitService() {
    itc_msg* found = itc_alloc(sizeof(itc_msg), kMsgNo);
    itc_locate_async(kService, &found, ITC_OWN_MAILBOX);
    found = itc_receive(nullptr, ITC_WAIT_FOREVER, ITC_ANY_SENDER);
    itc_free(&found);
}

void check(CommandResultCode result, const std::ostringstream& out) {
    if (result != Success || out.str() != kLine) {
        fail("the command has failed: " + out.str());
    }
}

double timeOfWholeCommand(std::size_t count) {
    const auto command = CommandIf::create("line");
    return timeOf(count, [&command] {
        std::ostringstream out;
        check(command->execute({}, out), out);
    });
}

double timeOverOpenConnection(std::size_t count) {
    RciClient client("line");
    std::ostringstream ignored;
    if (!client.connectToServer(ignored)) {
        fail("no connection: " + ignored.str());
    }
    const double taken = timeOf(count, [&client] {
        std::ostringstream out;
        check(client.executeRemoteCmd({}, out), out);
    });
    client.disconnectFromServer();
    return taken;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 2 && std::string(argv[1]) == "serve") {
        serve();
        return EXIT_SUCCESS;
    }
    if (argc != 3) {
        fail("usage: command pinned|free COUNT");
    }
    const Setting setting(std::string(argv[1]) == "pinned");
    const std::size_t count = std::stoul(argv[2]);
    Crew service(1, false, [argv] { becomeService(argv[0]); });
    createMailbox("");
    awaitService();
    std::printf("%.1f\n", timeOfWholeCommand(count));
    std::printf("%.1f\n", timeOverOpenConnection(count));
    std::ostringstream ignored;
    CommandIf::create("stop")->execute({}, ignored);
    service.join();
    return EXIT_SUCCESS;
}
