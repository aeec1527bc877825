#include "handlerInvokers.h"

#include <quoriaTest/noNewThreads.h>
#include <quoriaTest/scriptedItc.h>
#include <quoriaTest/traceCapture.h>

#include <gmock/gmock.h>

#include <pthread.h>

#include <atomic>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <thread>

namespace {

using namespace Quoria::CommandRegistry::Backend;
namespace CommandTypes = Quoria::CommandTypes;
namespace ScriptedItc = QuoriaTest::ScriptedItc;
using CommandTypes::CommandResultCode;
using Quoria::CommandRegistry::V1::CommandExecutionJobIf;
using QuoriaTest::TraceCapture;
using testing::ElementsAre;
using testing::IsEmpty;

class RecordingJob : public CommandExecutionJobIf {
public:
    const std::string& getCommandName() override { return name_; }
    const std::vector<std::string>& getArgs() override { return args_; }
    std::ostream& getOutStream() override { return out; }
    void done(const CommandResultCode& result) override {
        results.push_back(result);
        doneOn = std::this_thread::get_id();
        handlerThreadHadEnded = handlerThreadHasEnded;
    }

    std::ostringstream out;
    std::vector<CommandResultCode> results;
    std::thread::id doneOn;
    std::atomic<bool> handlerThreadHasEnded{false};
    bool handlerThreadHadEnded = false;  // when it was done

private:
    const std::string name_ = "status";
    const std::vector<std::string> args_{"on", "off"};
};

class HandlerInvoker : public testing::Test {
protected:
    const TraceCapture trace_;
    const std::shared_ptr<RecordingJob> job_ = std::make_shared<RecordingJob>();
};
using SynchronousInvoker = HandlerInvoker;
using AsynchronousInvoker = HandlerInvoker;
using ConcurrentInvoker = HandlerInvoker;

CommandResultCode writeArgs(const std::vector<std::string>& args, std::ostream& out) {
    for (const std::string& arg : args) {
        out << arg << ';';
    }
    return CommandTypes::InvalidArguments;
}

TEST_F(SynchronousInvoker, RunsTheHandlerAndReportsItsResult) {
    invokeSynchronously(writeArgs)(job_);

    EXPECT_EQ(job_->out.str(), "on;off;");
    EXPECT_THAT(job_->results, ElementsAre(CommandTypes::InvalidArguments));
    EXPECT_THAT(trace_.messages("TRACE1"), ElementsAre("Invoking synchronous cmd handler: status"));
}

TEST_F(SynchronousInvoker, TracesTheHandlerBeforeItRuns) {
    std::vector<std::string> tracedBefore;
    invokeSynchronously([&](const auto&, auto&) {
        tracedBefore = trace_.messages("TRACE1");
        return CommandTypes::Success;
    })(job_);

    EXPECT_THAT(tracedBefore, ElementsAre("Invoking synchronous cmd handler: status"));
}

TEST_F(SynchronousInvoker, RunsTheHandlerOnTheCallingThread) {
    std::thread::id ranOn;
    invokeSynchronously([&ranOn](const auto&, auto&) {
        ranOn = std::this_thread::get_id();
        return CommandTypes::Success;
    })(job_);

    EXPECT_EQ(ranOn, std::this_thread::get_id());
}

TEST_F(SynchronousInvoker, PassesOnWhatTheHandlerThrowsAndReportsNoResult) {
    const CommandInvoker invoker = invokeSynchronously(
        [](const auto&, auto&) -> CommandResultCode { throw std::runtime_error("broken"); });

    EXPECT_THROW(invoker(job_), std::runtime_error);
    EXPECT_THAT(job_->results, IsEmpty());
}

TEST_F(AsynchronousInvoker, SharesTheJobWithTheHandlerAndReportsNoResult) {
    std::shared_ptr<CommandExecutionJobIf> kept;
    invokeAsynchronously([&kept](std::shared_ptr<CommandExecutionJobIf> job) { kept = job; })(job_);

    EXPECT_EQ(kept, job_);
    EXPECT_THAT(job_->results, IsEmpty());
    EXPECT_THAT(trace_.messages("TRACE1"),
                ElementsAre("Invoking asynchronous cmd handler: status"));
}

TEST_F(AsynchronousInvoker, TracesTheHandlerBeforeItRuns) {
    std::vector<std::string> tracedBefore;
    invokeAsynchronously([&](const auto&) { tracedBefore = trace_.messages("TRACE1"); })(job_);

    EXPECT_THAT(tracedBefore, ElementsAre("Invoking asynchronous cmd handler: status"));
}

TEST_F(AsynchronousInvoker, RunsTheHandlerOnTheCallingThread) {
    std::thread::id ranOn;
    invokeAsynchronously([&ranOn](const auto&) { ranOn = std::this_thread::get_id(); })(job_);

    EXPECT_EQ(ranOn, std::this_thread::get_id());
}

TEST_F(AsynchronousInvoker, PassesOnWhatTheHandlerThrowsAndReportsNoResult) {
    const CommandInvoker invoker =
        invokeAsynchronously([](const auto&) { throw std::runtime_error("broken"); });

    EXPECT_THROW(invoker(job_), std::runtime_error);
    EXPECT_THAT(job_->results, IsEmpty());
    EXPECT_EQ(job_.use_count(), 1);
}

TEST_F(ConcurrentInvoker, RunsTheHandlerAndReportsItsResult) {
    invokeConcurrently(writeArgs)(job_);

    EXPECT_EQ(job_->out.str(), "on;off;");
    EXPECT_THAT(job_->results, ElementsAre(CommandTypes::InvalidArguments));
    EXPECT_THAT(trace_.messages("TRACE1"), ElementsAre("Invoking concurrent cmd handler: status"));
}

TEST_F(ConcurrentInvoker, TracesTheHandlerBeforeItRuns) {
    std::vector<std::string> tracedBefore;
    invokeConcurrently([&](const auto&, auto&) {
        tracedBefore = trace_.messages("TRACE1");
        return CommandTypes::Success;
    })(job_);

    EXPECT_THAT(tracedBefore, ElementsAre("Invoking concurrent cmd handler: status"));
}

TEST_F(ConcurrentInvoker, RunsTheHandlerOnANamedThreadOfItsOwn) {
    std::thread::id ranOn;
    std::string name;
    bool knowsItself = false;
    invokeConcurrently([&](const auto&, auto&) {
        char buffer[16] = "";
        pthread_getname_np(pthread_self(), buffer, sizeof buffer);
        name = buffer;
        ranOn = std::this_thread::get_id();
        knowsItself = isConcurrentHandlerThread();
        return CommandTypes::Success;
    })(job_);

    EXPECT_NE(ranOn, std::this_thread::get_id());
    EXPECT_EQ(name, "RciCmdHandler");
    EXPECT_TRUE(knowsItself);
    EXPECT_FALSE(isConcurrentHandlerThread());
}

TEST_F(ConcurrentInvoker, ReportsTheResultOnTheCallingThread) {
    invokeConcurrently(writeArgs)(job_);

    EXPECT_EQ(job_->doneOn, std::this_thread::get_id());
}

// Leaves whoever does not wait for the end of its thread a lot of time to show that.
struct LongEnd {
    ~LongEnd() {
        for (int turn = 0; turn < 10'000; ++turn) {
            std::this_thread::yield();
        }
        *hasCome = true;
    }
    std::atomic<bool>* hasCome = nullptr;
};

TEST_F(ConcurrentInvoker, ReportsTheResultWhenTheThreadHasEnded) {
    invokeConcurrently([this](const auto&, auto&) {
        thread_local LongEnd end;
        end.hasCome = &job_->handlerThreadHasEnded;
        return CommandTypes::Success;
    })(job_);

    EXPECT_TRUE(job_->handlerThreadHadEnded);
}

TEST_F(ConcurrentInvoker, GivesTheHandlerAMailboxForAsLongAsItRuns) {
    std::vector<std::string> callsInHandler;
    invokeConcurrently([&callsInHandler](const auto&, auto&) {
        callsInHandler = ScriptedItc::calls();
        return CommandTypes::Success;
    })(job_);

    EXPECT_THAT(callsInHandler, ElementsAre("create cmdHandler:status"));
    EXPECT_THAT(ScriptedItc::calls(), ElementsAre("create cmdHandler:status", "delete 0x54"));
}

TEST_F(ConcurrentInvoker, FailsWithoutRunningTheHandlerWhenThereIsNoMailbox) {
    ScriptedItc::setCreatedMailbox(0xFFFFFFFF);
    bool hasRun = false;
    invokeConcurrently([&hasRun](const auto&, auto&) {
        hasRun = true;
        return CommandTypes::Success;
    })(job_);

    EXPECT_FALSE(hasRun);
    EXPECT_THAT(job_->results, ElementsAre(CommandTypes::Failed));
    EXPECT_THAT(trace_.messages("ERROR"),
                ElementsAre("itc_create_mailbox failed for concurrent cmd handler: status"));
    EXPECT_THAT(trace_.messages("TRACE1"), IsEmpty());
    EXPECT_THAT(ScriptedItc::calls(), ElementsAre("create cmdHandler:status"));
}

TEST_F(ConcurrentInvoker, PassesOnThatThereIsNoThreadAndReportsNoResult) {
    auto kept = std::make_shared<int>(0);
    const CommandInvoker invoker =
        invokeConcurrently([kept](const auto&, auto&) { return CommandTypes::Success; });
    {
        const QuoriaTest::NoNewThreads none;
        EXPECT_THROW(invoker(job_), std::system_error);
    }

    EXPECT_THAT(job_->results, IsEmpty());
    EXPECT_THAT(ScriptedItc::calls(), IsEmpty());
    EXPECT_EQ(kept.use_count(), 2);
    EXPECT_EQ(job_.use_count(), 1);
}

TEST_F(ConcurrentInvoker, LeavesNoThreadBehind) {
    auto kept = std::make_shared<int>(0);
    {
        const CommandInvoker invoker =
            invokeConcurrently([kept](const auto&, auto&) { return CommandTypes::Success; });
        invoker(job_);
        EXPECT_EQ(kept.use_count(), 2);
    }

    EXPECT_EQ(kept.use_count(), 1);
    EXPECT_EQ(job_.use_count(), 1);
}

}  // namespace
