// A server whose clients are other processes, which end at every step of a command.
#include <quoria/command/commandIf.h>
#include <quoria/command/commandRegistryIf.h>
#include <quoria/itc/itcOperations.h>
#include <quoriaTest/childProcess.h>
#include <quoriaTest/servingThread.h>
#include <quoriaTest/traceCapture.h>

#include <gmock/gmock.h>

#include <signal.h>

#include <atomic>
#include <future>
#include <sstream>
#include <thread>

namespace {

namespace CommandTypes = Quoria::CommandTypes;
namespace Itc = Quoria::Itc;
using Quoria::Command::V1::CommandIf;
using Quoria::CommandRegistry::V1::CommandExecutionJobIf;
using Quoria::CommandRegistry::V1::CommandRegistryIf;
using QuoriaTest::ChildProcess;
using QuoriaTest::ServingThread;
using QuoriaTest::TraceCapture;

using Job = std::shared_ptr<CommandExecutionJobIf>;
using AsynchHandler = std::function<void(Job)>;

class ClientProcess : public testing::Test {
protected:
    void serve(const AsynchHandler& handler) {
        serving_.call([&handler] {
            CommandRegistryIf::getInstance()->registerAsynchCommandHandler("later", handler);
        });
    }

    // Starts the client and waits until it has come as far as its role says.
    void start(const std::string& role) {
        client_ = std::make_unique<ChildProcess>(std::vector<std::string>{PEER_COMMANDPEER, role});
        clientMailbox_ = static_cast<std::uint32_t>(std::stoul(client_->readLine()));
    }

    void killClient() {
        client_->sendSignal(SIGKILL);
        EXPECT_EQ(client_->wait(), -SIGKILL);
    }

    std::size_t aborts() const {
        return trace_.count("INFO", "ABN: command 'later' aborted by the client");
    }

    // Whether a client that behaves is served.
    bool stillServes() {
        serving_.call([] {
            const auto echo = [](const auto& args, std::ostream& out) {
                out << args.at(0);
                return CommandTypes::Success;
            };
            CommandRegistryIf::getInstance()->registerCommandHandler("echo", echo, false);
        });
        const std::uint32_t mailbox = Itc::createMailbox("");
        std::ostringstream out;
        const bool succeeded =
            CommandIf::create("echo")->execute({"on"}, out) == CommandTypes::Success;
        Itc::deleteMailbox(mailbox);
        return succeeded && out.str() == "on";
    }

    const TraceCapture trace_{"INFO", "TRACE1", "ERROR"};
    ServingThread serving_;
    std::unique_ptr<ChildProcess> client_;
    std::uint32_t clientMailbox_ = 0;
};

TEST_F(ClientProcess, IsServed) {
    serve([](const Job& job) {
        job->getOutStream() << job->getArgs().at(0) << job->getArgs().at(1);
        job->done(CommandTypes::InvalidArguments);
    });
    ChildProcess client({PEER_COMMANDPEER, "runCommand"});

    EXPECT_EQ(client.readLine(), "onoff1\n");
    EXPECT_EQ(client.wait(), 0);
    EXPECT_EQ(trace_.count("TRACE1", "Disconnect accepted for command 'later'"), 1U);
}

TEST_F(ClientProcess, KilledBeforeItsConnectRequestIsHandledIsForgotten) {
    serve([](const Job&) {});
    std::promise<void> mayGoOn;
    serving_.post([&mayGoOn] { mayGoOn.get_future().wait(); });
    start("askToConnect");
    killClient();

    mayGoOn.set_value();
    serving_.awaitEndOf(clientMailbox_);

    // The request of a mailbox that is gone may be taken or not, but leaves no connection.
    EXPECT_EQ(aborts(),
              trace_.count("TRACE1", "Connect accepted for command 'later'. Protocol rev: 1"));
    EXPECT_TRUE(stillServes());
}

TEST_F(ClientProcess, KilledAfterTheConnectIsForgotten) {
    serve([](const Job&) {});
    start("connectAndWait");

    killClient();
    serving_.awaitEndOf(clientMailbox_);

    EXPECT_EQ(aborts(), 1U);
    EXPECT_TRUE(stillServes());
}

TEST_F(ClientProcess, KilledAmidTheOutputOfAnAsynchronousCommandIsForgotten) {
    std::atomic<bool> isOver{false};
    std::thread writer;
    serve([&](const Job& job) {
        writer = std::thread([job, &isOver] {
            while (!isOver) {
                job->getOutStream() << "line" << std::endl;
                std::this_thread::yield();
            }
            EXPECT_TRUE(job->getOutStream().good());
            job->done(CommandTypes::Success);
        });
    });
    start("executeUntilOutput");

    killClient();
    serving_.awaitEndOf(clientMailbox_);
    isOver = true;
    serving_.call([&writer] { writer.join(); });

    EXPECT_EQ(aborts(), 1U);
    EXPECT_EQ(trace_.count("TRACE1", "Execution of command 'later' succeeded"), 0U);
    EXPECT_TRUE(stillServes());
}

TEST_F(ClientProcess, KilledAmidTheOutputOfASynchronousCommandLetsItRunToItsEnd) {
    std::promise<void> isKilled;
    serving_.call([&isKilled] {
        CommandRegistryIf::getInstance()->registerCommandHandler(
            "later",
            [&isKilled](const auto&, std::ostream& out) {
                out << "before";
                isKilled.get_future().wait();
                out << "after" << std::endl;
                EXPECT_TRUE(out.good());
                return CommandTypes::Success;
            },
            false);
    });
    start("executeUntilOutput");

    killClient();
    isKilled.set_value();
    serving_.awaitEndOf(clientMailbox_);

    EXPECT_EQ(trace_.count("TRACE1", "Execution of command 'later' succeeded"), 1U);
    EXPECT_EQ(aborts(), 1U);
    EXPECT_TRUE(stillServes());
}

TEST_F(ClientProcess, KilledAfterTheResultIsForgotten) {
    serve([](const Job& job) { job->done(CommandTypes::Success); });
    start("executeUntilResult");

    killClient();
    serving_.awaitEndOf(clientMailbox_);

    EXPECT_EQ(aborts(), 1U);
    EXPECT_TRUE(stillServes());
}

TEST_F(ClientProcess, ThatExitsWithoutADisconnectIsForgotten) {
    serve([](const Job&) {});
    start("connectAndExit");

    client_->write("\n");
    EXPECT_EQ(client_->wait(), 0);
    serving_.awaitEndOf(clientMailbox_);

    EXPECT_EQ(aborts(), 1U);
}

TEST_F(ClientProcess, ThatBecomesAnotherProgramIsForgotten) {
    serve([](const Job&) {});
    start("connectAndExec");

    client_->write("\n");
    serving_.awaitEndOf(clientMailbox_);

    EXPECT_EQ(aborts(), 1U);
}

TEST_F(ClientProcess, KilledTimeAndAgainLeavesTheServerWorking) {
    serve([](const Job&) {});
    for (int i = 0; i < 5; ++i) {
        start("connectAndWait");
        killClient();
        serving_.awaitEndOf(clientMailbox_);
    }

    EXPECT_EQ(aborts(), 5U);
    EXPECT_TRUE(stillServes());
}

}  // namespace
