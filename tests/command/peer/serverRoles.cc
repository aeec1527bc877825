#include "roles.h"

#include <quoria/command/commandRegistryIf.h>
#include <quoria/eventLoop/eventLoopIf.h>
#include <quoria/itc/itcOperations.h>
#include <quoria/itcMessageSubscription/itcMessageSubscriptionIf.h>

#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>
#include <utility>

namespace QuoriaTest {

namespace {

namespace CommandTypes = Quoria::CommandTypes;
namespace Itc = Quoria::Itc;
using CommandTypes::CommandResultCode;
using Quoria::CommandRegistry::V1::CommandExecutionJobIf;
using Quoria::CommandRegistry::V1::CommandRegistryIf;
using Quoria::EventLoop::V1::EventLoopIf;
using Quoria::ItcMessageSubscription::V1::ItcMessageSubscriptionIf;

using Args = std::vector<std::string>;

void makeMailbox() {
    Itc::createMailbox("peer");
    ItcMessageSubscriptionIf::getInstance().monitorItcFd(Itc::getFd());
}

void awaitMailbox(const char* name) {
    itc_msg* found = Itc::alloc(4, 0x7001);
    Itc::locateAsync(name, &found);
    const std::uint32_t filter[] = {1, 0x7001};
    Itc::wrap(Itc::receive(filter, Itc::kItcWaitForever));
}

CommandResultCode echo(const Args& args, std::ostream& out) {
    for (const std::string& arg : args) {
        out << arg;
    }
    return CommandTypes::Success;
}

CommandResultCode writeAndStall(const Args&, std::ostream& out) {
    out << "half";
    waitToBeKilled();
}

CommandResultCode stallUntilTold(const Args&, std::ostream&) {
    tell("running");
    readLine();
    tell("finished");
    return CommandTypes::Success;
}

CommandResultCode leave(const Args&, std::ostream&) {
    EventLoopIf::getInstance()->stop();
    return CommandTypes::Success;
}

CommandResultCode exitProcess(const Args&, std::ostream&) {
    std::exit(7);
}

CommandResultCode throwError(const Args&, std::ostream&) {
    throw std::runtime_error("broken");
}

CommandResultCode endThread(const Args&, std::ostream&) {
    pthread_exit(nullptr);
}

}  // namespace

int serve() {
    makeMailbox();
    CommandRegistryIf* registry = CommandRegistryIf::getInstance();
    for (const bool concurrent : {false, true}) {
        const std::string kind = concurrent ? "Concurrently" : "Synchronously";
        registry->registerCommandHandler("echo" + kind, echo, concurrent);
        registry->registerCommandHandler("stall" + kind, writeAndStall, concurrent);
        registry->registerCommandHandler("exit" + kind, exitProcess, concurrent);
        registry->registerCommandHandler("throw" + kind, throwError, concurrent);
    }
    registry->registerCommandHandler("endThreadConcurrently", endThread, true);
    registry->registerCommandHandler("leave", leave, false);
    std::shared_ptr<CommandExecutionJobIf> job;
    const auto writeAndKeep = [&job](std::shared_ptr<CommandExecutionJobIf> newJob) {
        job = std::move(newJob);
        job->getOutStream() << "half";
    };
    registry->registerAsynchCommandHandler("stallAsynchronously", writeAndKeep);
    registry->registerCommandHandler("stallUntilTold", stallUntilTold, true);
    awaitMailbox("RCI:stallUntilTold");
    // Called just before the registry goes, which is older.
    std::atexit([] { tell("exiting"); });
    tell("ready");
    EventLoopIf::getInstance()->run();
    return EXIT_SUCCESS;
}

int registerAndFork() {
    registerAndLeave();
    const pid_t child = fork();
    if (child == 0) {
        std::exit(7);
    }
    int status = 0;
    return waitpid(child, &status, 0) == child && WIFEXITED(status) ? WEXITSTATUS(status)
                                                                    : EXIT_FAILURE;
}

int registerAndLeave() {
    makeMailbox();
    CommandRegistryIf* registry = CommandRegistryIf::getInstance();
    registry->registerCommandHandler("synchronous", echo, false);
    registry->registerCommandHandler("concurrent", echo, true);
    registry->registerAsynchCommandHandler("asynchronous", [](const auto&) {});
    return EXIT_SUCCESS;
}

}  // namespace QuoriaTest
