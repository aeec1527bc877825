// How a process that has registered commands ends.
#include <quoria/command/commandIf.h>
#include <quoria/itc/itcOperations.h>
#include <quoriaTest/childProcess.h>
#include <quoriaTest/sanitizers.h>

#include <gmock/gmock.h>

#include <future>
#include <sstream>

namespace {

namespace CommandTypes = Quoria::CommandTypes;
namespace Itc = Quoria::Itc;
using CommandTypes::CommandResultCode;
using Quoria::Command::V1::CommandIf;
using QuoriaTest::ChildProcess;

CommandResultCode execute(const std::string& name, std::ostream& out) {
    const std::uint32_t mailbox = Itc::createMailbox("");
    const CommandResultCode result = CommandIf::create(name)->execute({}, out);
    Itc::deleteMailbox(mailbox);
    return result;
}

CommandResultCode executeAlone(const std::string& name) {
    std::ostringstream out;
    return execute(name, out);
}

class ProcessExit : public testing::Test {
protected:
    void startServer() { EXPECT_EQ(server_.readLine(), "ready\n"); }

    ChildProcess server_{{PEER_COMMANDPEER, "serve"}};
    std::ostringstream out_;
};

TEST(ProcessExitAtOnce, LeavesEveryKindOfCommandBehindInPeace) {
    const QuoriaTest::Outcome outcome =
        QuoriaTest::runToEnd({PEER_COMMANDPEER, "registerAndLeave"});

    EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
    EXPECT_EQ(outcome.error, "");
}

TEST(ProcessExitAtOnce, OfAForkedChildDoesNotWaitForThreadsThatItHasNot) {
    if (QuoriaTest::kAddressSanitizer) {
        GTEST_SKIP()
            << "the sanitizer takes what a thread of the parent holds for the child's leak";
    }
    const QuoriaTest::Outcome outcome = QuoriaTest::runToEnd({PEER_COMMANDPEER, "registerAndFork"});

    EXPECT_EQ(outcome.exitCode, 7) << outcome.error;
}

TEST_F(ProcessExit, IsCleanAfterCommandsHaveRun) {
    startServer();
    execute("echoSynchronously", out_);
    execute("echoConcurrently", out_);

    execute("leave", out_);

    EXPECT_EQ(server_.readErrorToEnd(), "");
    EXPECT_EQ(server_.wait(), 0);
}

TEST_F(ProcessExit, WaitsForAConcurrentCommandThatStillRuns) {
    startServer();
    auto slow = std::async(std::launch::async, executeAlone, "stallUntilTold");
    EXPECT_EQ(server_.readLine(), "running\n");
    auto leave = std::async(std::launch::async, executeAlone, "leave");
    EXPECT_EQ(server_.readLine(), "exiting\n");

    server_.write("go\n");

    EXPECT_EQ(server_.readLine(), "finished\n");
    EXPECT_EQ(slow.get(), CommandTypes::Success);
    EXPECT_EQ(leave.get(), CommandTypes::Success);
    EXPECT_EQ(server_.readErrorToEnd(), "");
    EXPECT_EQ(server_.wait(), 0);
}

TEST_F(ProcessExit, MayBeCalledByASynchronousCommand) {
    startServer();

    EXPECT_EQ(execute("exitSynchronously", out_), CommandTypes::Failed);

    EXPECT_EQ(out_.str(), "Lost connection to server\n");
    EXPECT_EQ(server_.readErrorToEnd(), "");
    EXPECT_EQ(server_.wait(), 7);
}

TEST_F(ProcessExit, MayBeCalledByAConcurrentCommand) {
    startServer();

    EXPECT_EQ(execute("exitConcurrently", out_), CommandTypes::Failed);

    EXPECT_EQ(out_.str(), "Lost connection to server\n");
    EXPECT_EQ(server_.readErrorToEnd(), "");
    EXPECT_EQ(server_.wait(), 7);
}

}  // namespace
