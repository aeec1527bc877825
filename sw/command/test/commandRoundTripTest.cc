// Commands from a client to a server on another thread and back, over the real itc.
#include "rciClient.h"

#include <quoria/command/commandIf.h>
#include <quoria/command/commandRegistryIf.h>
#include <quoria/eventLoop/eventLoopIf.h>
#include <quoria/itc/itcOperations.h>
#include <quoria/itcMessageSubscription/itcMessageSubscriptionIf.h>
#include <quoriaTest/servingThread.h>

#include <gmock/gmock.h>

#include <future>
#include <numeric>
#include <sstream>
#include <thread>

namespace {

namespace CommandTypes = Quoria::CommandTypes;
namespace Itc = Quoria::Itc;
using CommandTypes::CommandResultCode;
using Quoria::Command::Backend::RciClient;
using Quoria::Command::V1::CommandIf;
using Quoria::CommandRegistry::V1::CommandExecutionJobIf;
using Quoria::CommandRegistry::V1::CommandRegistryIf;
using Quoria::EventLoop::V1::EventLoopIf;
using Quoria::ItcMessageSubscription::V1::ItcMessageSubscriptionIf;
using QuoriaTest::ServingThread;

using Job = std::shared_ptr<CommandExecutionJobIf>;

class CommandRoundTrip : public testing::Test {
protected:
    CommandRoundTrip() : mailbox_(Itc::createMailbox("client")) {}
    ~CommandRoundTrip() override { Itc::deleteMailbox(mailbox_); }

    // Registers a handler that shows its arguments.
    void registerEcho(const std::string& name) {
        serving_.call([&name] {
            const auto echo = [](const std::vector<std::string>& args, std::ostream& out) {
                for (const std::string& arg : args) {
                    out << '<' << arg << '>';
                }
                return CommandTypes::Success;
            };
            EXPECT_EQ(CommandRegistryIf::getInstance()->registerCommandHandler(name, echo, false),
                      CommandTypes::Success);
        });
    }

    CommandResultCode execute(const std::string& name, const std::vector<std::string>& args = {}) {
        return CommandIf::create(name)->execute(args, out_);
    }

    const std::uint32_t mailbox_;
    ServingThread serving_;
    std::ostringstream out_;
};

TEST_F(CommandRoundTrip, CarriesArgumentsOutputAndResult) {
    registerEcho("echo");

    EXPECT_EQ(execute("echo", {"on", "", "a b"}), CommandTypes::Success);

    EXPECT_EQ(out_.str(), "<on><><a b>");
}

TEST_F(CommandRoundTrip, CarriesNoArguments) {
    registerEcho("echo");

    EXPECT_EQ(execute("echo"), CommandTypes::Success);

    EXPECT_EQ(out_.str(), "");
}

TEST_F(CommandRoundTrip, CarriesEveryByteButNulInArguments) {
    registerEcho("echo");
    std::string bytes(255, '\0');
    std::iota(bytes.begin(), bytes.end(), '\1');

    EXPECT_EQ(execute("echo", {bytes}), CommandTypes::Success);

    EXPECT_EQ(out_.str(), "<" + bytes + ">");
}

TEST_F(CommandRoundTrip, CarriesEveryByteInTheOutput) {
    std::string bytes(256, '\0');
    std::iota(bytes.begin(), bytes.end(), '\0');
    serving_.call([&bytes] {
        CommandRegistryIf::getInstance()->registerCommandHandler(
            "bytes",
            [bytes](const auto&, std::ostream& out) {
                out << bytes;
                for (const char byte : bytes) {
                    out.put(byte);
                }
                return CommandTypes::Success;
            },
            false);
    });

    execute("bytes");

    EXPECT_EQ(out_.str(), bytes + bytes);
}

TEST_F(CommandRoundTrip, CarriesMoreOutputThanOneMessageHolds) {
    const std::string text(3 * Itc::maxSize() + 17, 'x');
    serving_.call([&text] {
        CommandRegistryIf::getInstance()->registerCommandHandler(
            "long",
            [&text](const auto&, std::ostream& out) {
                out << "begin" << text << "end";
                return CommandTypes::Success;
            },
            false);
    });

    EXPECT_EQ(execute("long"), CommandTypes::Success);

    EXPECT_TRUE(out_.str() == "begin" + text + "end");
}

TEST_F(CommandRoundTrip, CarriesEachResult) {
    serving_.call([] {
        for (const std::uint32_t code : {0U, 1U, 2U, 7U}) {
            CommandRegistryIf::getInstance()->registerCommandHandler(
                std::to_string(code),
                [code](const auto&, auto&) { return static_cast<CommandResultCode>(code); }, false);
        }
    });

    EXPECT_EQ(execute("0"), CommandTypes::Success);
    EXPECT_EQ(execute("1"), CommandTypes::InvalidArguments);
    EXPECT_EQ(execute("2"), CommandTypes::Failed);
    EXPECT_EQ(execute("7"), CommandTypes::Failed);
}

TEST_F(CommandRoundTrip, ServesACommandWithoutAName) {
    registerEcho("");

    EXPECT_EQ(execute("", {"on"}), CommandTypes::Success);
}

TEST_F(CommandRoundTrip, ServesNamesUpToTheLongestThatAMailboxCanHave) {
    const std::string names[] = {std::string(251, 'x'), std::string(83, '/'),
                                 std::string(83, '%'),  std::string(83, ' '),
                                 std::string(83, '\n'), "." + std::string(250, '.')};
    for (const std::string& name : names) {
        registerEcho(name);
        EXPECT_EQ(execute(name, {"on"}), CommandTypes::Success) << name;
    }
}

TEST_F(CommandRoundTrip, FindsNobodyUnderANameThatNoMailboxCanHave) {
    const std::string name(300, 'x');

    EXPECT_EQ(execute(name), CommandTypes::Failed);

    EXPECT_EQ(out_.str(), "No handler found for command: " + name + "\n");
}

TEST_F(CommandRoundTrip, FindsNobodyUnderANameThatIsNotRegistered) {
    EXPECT_EQ(execute("status"), CommandTypes::Failed);

    EXPECT_EQ(out_.str(), "No handler found for command: status\n");
}

TEST_F(CommandRoundTrip, IsRejectedAfterTheCommandHasBeenDeregistered) {
    registerEcho("echo");
    serving_.call([] { CommandRegistryIf::getInstance()->deregisterCommandHandler("echo"); });

    EXPECT_EQ(execute("echo"), CommandTypes::Failed);

    EXPECT_EQ(out_.str(),
              "Connect rejected by server. Client's supported protocol revision is 1\n");
}

TEST_F(CommandRoundTrip, RefusesArgumentsThatAreTooLongAndGoesOn) {
    registerEcho("echo");

    EXPECT_EQ(execute("echo", {std::string(Itc::maxSize(), 'x')}), CommandTypes::Failed);
    EXPECT_EQ(out_.str(), "The arguments are too long to be sent to command: echo\n");

    EXPECT_EQ(execute("echo", {"on"}), CommandTypes::Success);
}

TEST_F(CommandRoundTrip, CarriesTheLongestArgumentsThatFit) {
    registerEcho("echo");
    const std::string longest(Itc::maxSize() - 20 - 1, 'x');

    EXPECT_EQ(execute("echo", {longest}), CommandTypes::Success);

    EXPECT_TRUE(out_.str() == "<" + longest + ">");
}

TEST_F(CommandRoundTrip, FailsAtOnceOnAThreadWithoutAMailbox) {
    registerEcho("echo");
    CommandResultCode result = CommandTypes::Success;
    std::thread client([&] { result = execute("echo"); });
    client.join();

    EXPECT_EQ(result, CommandTypes::Failed);
    EXPECT_EQ(out_.str(), "The calling thread has no mailbox to run command: echo\n");
}

TEST_F(CommandRoundTrip, ExecutesSeveralTimesOverOneConnection) {
    registerEcho("echo");
    RciClient client("echo");

    EXPECT_TRUE(client.connectToServer(out_));
    EXPECT_EQ(client.executeRemoteCmd({"1"}, out_), CommandTypes::Success);
    EXPECT_EQ(client.executeRemoteCmd({"2"}, out_), CommandTypes::Success);
    client.disconnectFromServer();

    EXPECT_EQ(out_.str(), "<1><2>");
    EXPECT_EQ(Itc::receive(nullptr, Itc::kItcNoWait), nullptr);
}

TEST_F(CommandRoundTrip, LeavesOtherMessagesToTheCaller) {
    registerEcho("echo");
    itc_msg* other = Itc::alloc(4, 0x77);
    Itc::send(&other, mailbox_, Itc::kItcOwnMailbox);

    EXPECT_EQ(execute("echo"), CommandTypes::Success);

    const auto left = Itc::wrap(Itc::receive(nullptr, Itc::kItcNoWait));
    EXPECT_EQ(left->msgno, 0x77U);
    EXPECT_EQ(Itc::receive(nullptr, Itc::kItcNoWait), nullptr);
}

TEST_F(CommandRoundTrip, ServesSeveralClientsAtATime) {
    registerEcho("echo");
    std::vector<std::thread> clients;
    std::vector<std::ostringstream> outputs(4);
    for (std::ostringstream& output : outputs) {
        clients.emplace_back([&output] {
            const std::uint32_t mailbox = Itc::createMailbox("");
            for (int i = 0; i < 20; ++i) {
                CommandIf::create("echo")->execute({"x"}, output);
            }
            Itc::deleteMailbox(mailbox);
        });
    }
    for (std::thread& client : clients) {
        client.join();
    }

    for (const std::ostringstream& output : outputs) {
        EXPECT_EQ(output.str().size(), 60U);
    }
}

TEST_F(CommandRoundTrip, ServesFromAnyThreadThatRunsItsLoop) {
    std::promise<void> registered;
    std::thread server([&registered] {
        const std::uint32_t mailbox = Itc::createMailbox("plain thread");
        ItcMessageSubscriptionIf::getInstance().monitorItcFd(Itc::getFd());
        const auto stop = [](const auto&, auto&) {
            EventLoopIf::getInstance()->stop();
            return CommandTypes::Success;
        };
        CommandRegistryIf::getInstance()->registerCommandHandler("stop", stop, false);
        registered.set_value();
        EventLoopIf::getInstance()->run();
        Itc::deleteMailbox(mailbox);
    });
    registered.get_future().get();

    EXPECT_EQ(execute("stop"), CommandTypes::Success);
    server.join();
    EXPECT_EQ(execute("stop"), CommandTypes::Failed);
}

TEST_F(CommandRoundTrip, TakesAnAsynchronousResultFromAnotherThread) {
    std::promise<Job> promisedJob;
    serving_.call([&promisedJob] {
        CommandRegistryIf::getInstance()->registerAsynchCommandHandler(
            "later", [&promisedJob](const Job& job) { promisedJob.set_value(job); });
    });
    std::thread finisher([&promisedJob] {
        const Job job = promisedJob.get_future().get();
        job->getOutStream() << job->getCommandName() << job->getArgs().at(0);
        job->done(CommandTypes::InvalidArguments);
    });

    EXPECT_EQ(execute("later", {"!"}), CommandTypes::InvalidArguments);

    finisher.join();
    EXPECT_EQ(out_.str(), "later!");
}

TEST_F(CommandRoundTrip, ServesOthersWhileAnAsynchronousCommandRuns) {
    registerEcho("echo");
    std::promise<Job> promisedJob;
    serving_.call([&promisedJob] {
        CommandRegistryIf::getInstance()->registerAsynchCommandHandler(
            "later", [&promisedJob](const Job& job) { promisedJob.set_value(job); });
    });
    CommandResultCode result = CommandTypes::Failed;
    std::thread client([&result] {
        const std::uint32_t mailbox = Itc::createMailbox("");
        std::ostringstream out;
        result = CommandIf::create("later")->execute({}, out);
        Itc::deleteMailbox(mailbox);
    });
    const Job job = promisedJob.get_future().get();

    EXPECT_EQ(execute("echo"), CommandTypes::Success);

    job->done(CommandTypes::Success);
    client.join();
    EXPECT_EQ(result, CommandTypes::Success);
}

}  // namespace
