// One side goes while the other still counts on it, within one process.
#include "rciClient.h"
#include "rciMessage.h"

#include <quoria/command/commandIf.h>
#include <quoria/command/commandRegistryIf.h>
#include <quoria/eventLoop/eventLoopIf.h>
#include <quoria/itc/itcOperations.h>
#include <quoriaTest/servingThread.h>
#include <quoriaTest/traceCapture.h>

#include <gmock/gmock.h>

#include <atomic>
#include <future>
#include <optional>
#include <sstream>
#include <thread>

namespace {

namespace CommandTypes = Quoria::CommandTypes;
namespace Itc = Quoria::Itc;
namespace Rci = Quoria::Command::Backend;
using CommandTypes::CommandResultCode;
using Quoria::Command::Backend::RciClient;
using Quoria::Command::V1::CommandIf;
using Quoria::CommandRegistry::V1::CommandExecutionJobIf;
using Quoria::CommandRegistry::V1::CommandRegistryIf;
using Quoria::EventLoop::V1::EventLoopIf;
using QuoriaTest::ServingThread;
using QuoriaTest::TraceCapture;

using Job = std::shared_ptr<CommandExecutionJobIf>;

class LostClient : public testing::Test {
protected:
    LostClient() : mailbox_(Itc::createMailbox("client")) {
        serving_->call([this] {
            CommandRegistryIf::getInstance()->registerAsynchCommandHandler(
                "later", [this](const Job& job) { job_ = job; });
        });
    }

    // Asks for an execution over the first connection without waiting for its end.
    void requestExecution() {
        itc_msg* request = Rci::buildRciExecuteReq(1, 1, {});
        Itc::send(&request, serving_->mailbox(), Itc::kItcOwnMailbox);
    }

    // The client ends without a disconnect.
    void endClient() {
        Itc::deleteMailbox(mailbox_);
        serving_->awaitEndOf(mailbox_);
    }

    std::size_t aborts() const {
        return trace_.count("INFO", "ABN: command 'later' aborted by the client");
    }

    const TraceCapture trace_{"INFO", "TRACE1", "ERROR"};
    const std::uint32_t mailbox_;
    std::optional<ServingThread> serving_{std::in_place};
    RciClient client_{"later"};
    std::ostringstream out_;
    Job job_;  // belongs to the serving thread
};

TEST_F(LostClient, IsNoticedAfterTheConnect) {
    client_.connectToServer(out_);

    endClient();

    EXPECT_EQ(aborts(), 1U);
}

TEST_F(LostClient, IsNoticedByEachConnection) {
    client_.connectToServer(out_);
    RciClient second("later");
    second.connectToServer(out_);

    endClient();

    EXPECT_EQ(aborts(), 2U);
}

TEST_F(LostClient, IsNoLossAfterTheDisconnect) {
    client_.connectToServer(out_);
    client_.disconnectFromServer();

    endClient();

    EXPECT_EQ(aborts(), 0U);
}

TEST_F(LostClient, SilencesTheJobThatStillRuns) {
    client_.connectToServer(out_);
    std::thread finisher;
    requestExecution();

    endClient();
    serving_->call([this, &finisher] {
        ASSERT_NE(job_, nullptr);
        finisher = std::thread([job = std::move(job_)] {
            job->getOutStream() << "late" << std::endl;
            EXPECT_TRUE(job->getOutStream().good());
            job->done(CommandTypes::Success);
        });
    });
    finisher.join();

    EXPECT_EQ(trace_.count("TRACE1", "Execution of command 'later' succeeded"), 0U);
}

TEST_F(LostClient, MayGoWhileAnotherThreadWrites) {
    client_.connectToServer(out_);
    std::promise<Job> promisedJob;
    serving_->call([&promisedJob] {
        CommandRegistryIf::getInstance()->deregisterCommandHandler("later");
        CommandRegistryIf::getInstance()->registerAsynchCommandHandler(
            "later", [&promisedJob](const Job& job) { promisedJob.set_value(job); });
    });
    requestExecution();
    std::atomic<bool> isOver{false};
    std::thread writer([&promisedJob, &isOver] {
        const Job job = promisedJob.get_future().get();
        while (!isOver) {
            job->getOutStream() << "line" << std::endl;
            std::this_thread::yield();
        }
        EXPECT_TRUE(job->getOutStream().good());
    });

    endClient();
    isOver = true;
    writer.join();

    EXPECT_EQ(aborts(), 1U);
}

class LostServer : public testing::Test {
protected:
    LostServer() : mailbox_(Itc::createMailbox("client")) {}
    ~LostServer() override { Itc::deleteMailbox(mailbox_); }

    const std::uint32_t mailbox_;
    std::optional<ServingThread> serving_{std::in_place};
    std::ostringstream out_;
};

TEST_F(LostServer, EndsTheExecutionBehindTheOutputSoFar) {
    serving_->call([] {
        CommandRegistryIf::getInstance()->registerAsynchCommandHandler("x", [](const Job& job) {
            job->getOutStream() << "half";
            EventLoopIf::getInstance()->stop();
        });
    });

    EXPECT_EQ(CommandIf::create("x")->execute({}, out_), CommandTypes::Failed);

    EXPECT_EQ(out_.str(), "halfLost connection to server\n");
}

TEST_F(LostServer, LeavesNothingBehindForTheNextCommand) {
    serving_->call([] {
        CommandRegistryIf::getInstance()->registerAsynchCommandHandler(
            "x", [](const Job&) { EventLoopIf::getInstance()->stop(); });
    });
    CommandIf::create("x")->execute({}, out_);

    EXPECT_EQ(Itc::receive(nullptr, Itc::kItcNoWait), nullptr);
}

TEST_F(LostServer, LetsTheDisconnectReturn) {
    serving_->call([] {
        CommandRegistryIf::getInstance()->registerAsynchCommandHandler("x", [](const Job&) {});
    });
    RciClient client("x");
    EXPECT_TRUE(client.connectToServer(out_));
    serving_.reset();

    client.disconnectFromServer();

    EXPECT_FALSE(client.isConnected());
    EXPECT_EQ(Itc::receive(nullptr, Itc::kItcNoWait), nullptr);
}

TEST_F(LostServer, EndsAnExecutionThatComesTooLate) {
    serving_->call([] {
        CommandRegistryIf::getInstance()->registerAsynchCommandHandler("x", [](const Job&) {});
    });
    RciClient client("x");
    EXPECT_TRUE(client.connectToServer(out_));
    serving_.reset();

    EXPECT_EQ(client.executeRemoteCmd({}, out_), CommandTypes::Failed);

    EXPECT_EQ(out_.str(), "Lost connection to server\n");
}

TEST_F(LostServer, TakesItsCommandsWithIt) {
    serving_->call([] {
        CommandRegistryIf::getInstance()->registerAsynchCommandHandler("x", [](const Job&) {});
    });
    serving_.reset();

    EXPECT_EQ(CommandIf::create("x")->execute({}, out_), CommandTypes::Failed);

    EXPECT_EQ(out_.str(), "No handler found for command: x\n");
}

// A server that does not answer: the client waits for its end.
class SilentServer : public LostServer {
protected:
    SilentServer() {
        serving_->call([] {
            CommandRegistryIf::getInstance()->registerAsynchCommandHandler("x", [](const Job&) {});
        });
        EXPECT_TRUE(client_.connectToServer(out_));
    }

    // Ends the server once it has handled the next request. Its answer to another client, who
    // comes later, tells that it has.
    void endServerBehindTheNextRequest() {
        ender_ = std::thread([this, came = serving_->holdUntilAMessageComes()]() mutable {
            came.get();
            const std::uint32_t mailbox = Itc::createMailbox("");
            std::ostringstream out;
            RciClient("x").connectToServer(out);
            errors_ = trace_.messages("ERROR");
            serverHasEnded_ = true;
            serving_.reset();
            Itc::deleteMailbox(mailbox);
        });
    }
    // The server forgets the connection, which the client does not know.
    void forgetConnection() {
        itc_msg* request =
            Rci::buildRciMessage(Rci::RciDisconnectReq{Rci::kRciDisconnectReqMsgNo, 1, 1});
        Itc::send(&request, serving_->mailbox(), Itc::kItcOwnMailbox);
        const std::uint32_t filter[] = {1, Rci::kRciDisconnectCfmMsgNo};
        Itc::wrap(Itc::receive(filter, Itc::kItcWaitForever));
    }

    const TraceCapture trace_{"ERROR"};
    RciClient client_{"x"};
    std::thread ender_;
    std::atomic<bool> serverHasEnded_{false};
    std::vector<std::string> errors_;
};

TEST_F(SilentServer, KeepsAnExecutionOverAForgottenConnectionWaitingUntilItEnds) {
    forgetConnection();
    endServerBehindTheNextRequest();

    EXPECT_EQ(client_.executeRemoteCmd({}, out_), CommandTypes::Failed);

    EXPECT_TRUE(serverHasEnded_);
    ender_.join();
    EXPECT_EQ(out_.str(), "Lost connection to server\n");
    EXPECT_THAT(errors_,
                testing::ElementsAre("Ignoring execute request with invalid connection ref: 1"));
}

TEST_F(SilentServer, KeepsADisconnectOfAForgottenConnectionWaitingUntilItEnds) {
    forgetConnection();
    endServerBehindTheNextRequest();

    client_.disconnectFromServer();

    EXPECT_TRUE(serverHasEnded_);
    ender_.join();
    EXPECT_FALSE(client_.isConnected());
    EXPECT_THAT(errors_,
                testing::ElementsAre("Ignoring disconnect request with invalid connection ref: 1"));
}

TEST_F(SilentServer, KeepsAnExecutionOfADeregisteredCommandWaitingUntilItEnds) {
    serving_->call([] { CommandRegistryIf::getInstance()->deregisterCommandHandler("x"); });
    endServerBehindTheNextRequest();

    EXPECT_EQ(client_.executeRemoteCmd({}, out_), CommandTypes::Failed);

    EXPECT_TRUE(serverHasEnded_);
    ender_.join();
    EXPECT_EQ(out_.str(), "Lost connection to server\n");
    EXPECT_THAT(errors_, testing::ElementsAre("No handler registered for command: x"));
}

}  // namespace
