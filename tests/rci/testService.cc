// testService.cc: the service that the tests of rci talk to.
//
// All its threads of execution are one: commands and the lines that the test writes to its standard
// input are handled by the main thread's event loop, so that a test decides what happens when.
//
// usage: testService [COMMAND...]     further commands to register, all like `args`
//
// Commands:  args       prints its arguments, one per line in brackets
//            result     prints nothing and returns its argument as the result
//            repeat     prints its second argument as many times as its first says, in one write
//            verbatim   prints its first argument in one write and returns its second
//            held       is held until the test says what happens to it; prints "held" here
// Lines:     say TEXT        the held command prints TEXT, without a line end
//            end RESULT      the held command ends
//            withdraw NAME   the service offers the command no more; answers "withdrawn"
//            exit CODE       the service exits as it stands
//            infos           answers with the texts of all INFO trace events so far, and "."

#include <itc.h>
#include <quoria/command/commandRegistryIf.h>
#include <quoria/eventLoop/eventLoopIf.h>
#include <quoria/itcMessageSubscription/itcMessageSubscriptionIf.h>
#include <quoriaTest/traceCapture.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>

namespace {

using namespace Quoria::CommandTypes;

using Quoria::CommandRegistry::V1::CommandExecutionJobIf;
using Quoria::CommandRegistry::V1::CommandRegistryIf;
using Quoria::EventLoop::V1::EventLoopIf;
using Quoria::ItcMessageSubscription::V1::ItcMessageSubscriptionIf;
using QuoriaTest::TraceCapture;

using Arguments = std::vector<std::string>;

CommandResultCode toResult(const std::string& text) {
    return static_cast<CommandResultCode>(std::stoul(text));
}

CommandResultCode printArguments(const Arguments& args, std::ostream& out) {
    for (const std::string& arg : args) {
        out << "[" + arg + "]\n";
    }
    return Success;
}

CommandResultCode repeat(const Arguments& args, std::ostream& out) {
    std::string text;
    for (unsigned long left = std::stoul(args.at(0)); left > 0; --left) {
        text += args.at(1);
    }
    out << text;
    return Success;
}

class TestService {
public:
    void registerCommands(char** names) {
        CommandRegistryIf* registry = CommandRegistryIf::getInstance();
        registry->registerCommandHandler("args", printArguments, false);
        registry->registerCommandHandler(
            "result", [](const Arguments& args, std::ostream&) { return toResult(args.at(0)); },
            false);
        registry->registerCommandHandler("repeat", repeat, false);
        registry->registerCommandHandler(
            "verbatim",
            [](const Arguments& args, std::ostream& out) {
                out << args.at(0);
                return toResult(args.at(1));
            },
            false);
        registry->registerAsynchCommandHandler("held", [this](const auto& job) {
            held_ = job;
            std::cout << "held" << std::endl;
        });
        for (char** name = names; *name != nullptr; ++name) {
            registry->registerCommandHandler(*name, printArguments, false);
        }
    }

    void readControl() {
        char buffer[4096];
        const ssize_t size = read(STDIN_FILENO, buffer, sizeof buffer);
        if (size <= 0) {
            EventLoopIf::getInstance()->stop();
            return;
        }
        control_.append(buffer, static_cast<std::size_t>(size));
        for (auto end = control_.find('\n'); end != std::string::npos; end = control_.find('\n')) {
            const std::string line = control_.substr(0, end);
            control_.erase(0, end + 1);
            obey(line);
        }
    }

private:
    void obey(const std::string& line) {
        const std::string verb = line.substr(0, line.find(' '));
        const std::string rest = verb.size() < line.size() ? line.substr(verb.size() + 1) : "";
        if (verb == "say") {
            held_->getOutStream() << rest;
        } else if (verb == "end") {
            held_->done(toResult(rest));
            held_.reset();
        } else if (verb == "withdraw") {
            CommandRegistryIf::getInstance()->deregisterCommandHandler(rest);
            std::cout << "withdrawn" << std::endl;
        } else if (verb == "exit") {
            std::exit(std::stoi(rest));
        } else if (verb == "infos") {
            for (const std::string& text : trace_.messages("INFO")) {
                std::cout << text << "\n";
            }
            std::cout << "." << std::endl;
        }
    }

    TraceCapture trace_ = TraceCapture({"INFO"});
    std::shared_ptr<CommandExecutionJobIf> held_;
    std::string control_;
};

}  // namespace

int main(int, char** argv) {
    const itc_mbox_id_t mailbox = itc_create_mailbox("testService", 0);
    if (mailbox == ITC_NO_MAILBOX) {
        return EXIT_FAILURE;
    }
    ItcMessageSubscriptionIf::getInstance().monitorItcFd(itc_get_fd());
    TestService service;
    service.registerCommands(argv + 1);
    EventLoopIf::getInstance()->addFdHandler(
        STDIN_FILENO, EventLoopIf::EVENT_IN,
        [&service](int, unsigned int) { service.readControl(); });
    std::cout << mailbox << std::endl;
    return EventLoopIf::getInstance()->run() == EventLoopIf::OK ? EXIT_SUCCESS : EXIT_FAILURE;
}
