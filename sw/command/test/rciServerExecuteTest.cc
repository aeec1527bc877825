#include <quoriaTest/rciServerFixture.h>

#include <quoria/itcMailboxMonitor/itcMailboxMonitorIf.h>

namespace {

namespace CommandTypes = Quoria::CommandTypes;
namespace ScriptedItc = QuoriaTest::ScriptedItc;
using QuoriaTest::Bytes;
using QuoriaTest::SentMessage;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

constexpr std::uint32_t kConnectCfm = 0x017070A1;
constexpr std::uint32_t kExecuteCfm = 0x017070A4;
constexpr std::uint32_t kOutputInd = 0x017070A6;
constexpr std::uint32_t kDisconnectCfm = 0x017070A8;

class RciServerExecuting : public QuoriaTest::RciServerFixture {
protected:
    RciServerExecuting() {
        registerCommand("status");
        connect("status");  // gets reference 1
    }

    static void endClient() { dispatch(Bytes().word(0x01707091)); }
};
using RciServerDisconnecting = RciServerExecuting;
using RciServerLosingItsClient = RciServerExecuting;

TEST_F(RciServerExecuting, ConfirmsAsFromTheMailboxThatIsCurrent) {
    execute(1);

    const SentMessage answer = ScriptedItc::sent().at(1);
    EXPECT_EQ(answer.bytes, Bytes().word(kExecuteCfm).word(8).word(6).get());
    EXPECT_EQ(answer.receiver, kClient);
    EXPECT_EQ(answer.sender, ScriptedItc::kOwnMailbox);
}

TEST_F(RciServerExecuting, ConfirmsBeforeTheCommandRuns) {
    server_->registerCommandInvoker("early", [](const Job& job) { job->getOutStream() << "x"; });
    connect("early");

    execute(2);

    EXPECT_THAT(sentNumbers(), ElementsAre(kConnectCfm, kConnectCfm, kExecuteCfm, kOutputInd));
}

// A confirmation that can't be sent leaves a trace as well, and so the order shows.
TEST_F(RciServerExecuting, ConfirmsBeforeItTracesTheRequest) {
    ScriptedItc::failAlloc(kExecuteCfm);
    const std::size_t before = trace_.events().size();

    execute(1);

    EXPECT_THAT(messagesSince(before),
                ElementsAre("itc_alloc failed for a message to mailbox: 0x71",
                            "Received execute request for command 'status' with args: {}"));
}

TEST_F(RciServerDisconnecting, TracesTheRequestBeforeItConfirms) {
    ScriptedItc::failAlloc(kDisconnectCfm);
    const std::size_t before = trace_.events().size();

    disconnect(1);

    EXPECT_THAT(messagesSince(before),
                ElementsAre("Disconnect accepted for command 'status'",
                            "itc_alloc failed for a message to mailbox: 0x71"));
}

TEST_F(RciServerExecuting, AnswersWhoeverAsks) {
    const std::uint32_t otherMailbox = 0x99;
    dispatch(Bytes().word(0x017070A3).word(8).word(1).word(0).text("spar"), otherMailbox);
    jobs_.at(0)->done(CommandTypes::Success);

    EXPECT_EQ(ScriptedItc::sent().at(1).receiver, otherMailbox);
    EXPECT_EQ(ScriptedItc::sent().at(2).receiver, otherMailbox);
}

TEST_F(RciServerExecuting, HandsTheArgumentsToTheCommand) {
    execute(1, {"on", "", "a b\n\xFF"});

    ASSERT_EQ(jobs_.size(), 1U);
    EXPECT_THAT(jobs_[0]->getArgs(), ElementsAre("on", "", "a b\n\xFF"));
    EXPECT_EQ(jobs_[0]->getCommandName(), "status");
}

TEST_F(RciServerExecuting, HandsOverNoArgumentsOfARequestWithout) {
    execute(1);

    ASSERT_EQ(jobs_.size(), 1U);
    EXPECT_THAT(jobs_[0]->getArgs(), IsEmpty());
}

TEST_F(RciServerExecuting, TracesTheArguments) {
    execute(1, {"on", "", "off"});
    execute(1, {"on"});
    execute(1);

    EXPECT_EQ(trace_.count("TRACE1",
                           "Received execute request for command 'status' with args: {on,,off}"),
              1U);
    EXPECT_EQ(
        trace_.count("TRACE1", "Received execute request for command 'status' with args: {on}"),
        1U);
    EXPECT_EQ(trace_.count("TRACE1", "Received execute request for command 'status' with args: {}"),
              1U);
}

TEST_F(RciServerExecuting, SendsOutputAndResultForTheRequestAndTheConnection) {
    execute(1);
    jobs_.at(0)->getOutStream() << "ok";
    jobs_.at(0)->done(CommandTypes::Success);

    for (const std::size_t i : {2U, 3U}) {
        EXPECT_EQ(ScriptedItc::sent().at(i).wordAt(4), 8U);
        EXPECT_EQ(ScriptedItc::sent().at(i).wordAt(8), 6U);
        EXPECT_EQ(ScriptedItc::sent().at(i).sender, ScriptedItc::kOwnMailbox);
    }
}

TEST_F(RciServerExecuting, SendsAsFromTheMailboxThatWasCurrentWhenTheRequestCame) {
    ScriptedItc::setCurrentMailbox(0x22);
    execute(1);
    ScriptedItc::setCurrentMailbox(0x23);

    jobs_.at(0)->getOutStream() << "ok" << std::endl;
    jobs_.at(0)->done(CommandTypes::Success);

    for (const std::size_t i : {1U, 2U, 3U, 4U}) {
        EXPECT_EQ(ScriptedItc::sent().at(i).sender, 0x22U);
    }
}

TEST_F(RciServerExecuting, TracesTheRequestBeforeTheCommandRuns) {
    std::vector<std::string> tracedBefore;
    server_->registerCommandInvoker(
        "early", [this, &tracedBefore](const Job&) { tracedBefore = trace_.messages("TRACE1"); });
    connect("early");

    execute(2);

    EXPECT_THAT(tracedBefore,
                Contains("Received execute request for command 'early' with args: {}"));
}

TEST_F(RciServerExecuting, LetsGoOfTheJobWhenTheCommandHasRun) {
    execute(1);

    EXPECT_EQ(jobs_.at(0).use_count(), 1);
}

TEST_F(RciServerExecuting, IgnoresAConnectionThatItDoesNotKnow) {
    execute(4294967295);

    EXPECT_EQ(
        trace_.count("ERROR", "Ignoring execute request with invalid connection ref: 4294967295"),
        1U);
    EXPECT_THAT(sentNumbers(), ElementsAre(kConnectCfm));
    EXPECT_THAT(jobs_, IsEmpty());
}

TEST_F(RciServerExecuting, ConfirmsButDoesNotAnswerForACommandThatWasDeregistered) {
    server_->deregisterCommandInvoker("status");

    execute(1);

    EXPECT_THAT(sentNumbers(), ElementsAre(kConnectCfm, kExecuteCfm));
    EXPECT_EQ(trace_.count("ERROR", "No handler registered for command: status"), 1U);
}

TEST_F(RciServerExecuting, ServesAnOpenConnectionAgainWhenItsCommandIsRegisteredAgain) {
    server_->deregisterCommandInvoker("status");
    registerCommand("status");

    execute(1);

    EXPECT_EQ(jobs_.size(), 1U);
}

TEST_F(RciServerExecuting, KeepsTheStateOfACommandFromOneExecutionToTheNext) {
    std::vector<int> seen;
    server_->registerCommandInvoker(
        "count", [&seen, executions = 0](const Job&) mutable { seen.push_back(++executions); });
    connect("count");

    execute(2);
    execute(2);

    EXPECT_EQ(seen, (std::vector<int>{1, 2}));
}

TEST_F(RciServerExecuting, LetsACommandDeregisterItselfInItsOwnCall) {
    auto kept = std::make_shared<std::string>("alive");
    server_->registerCommandInvoker("once", [this, kept](const Job&) {
        server_->deregisterCommandInvoker("once");
        EXPECT_EQ(*kept, "alive");
    });
    connect("once");

    execute(2);

    EXPECT_EQ(kept.use_count(), 1);
}

TEST_F(RciServerDisconnecting, ConfirmsAndStopsMonitoringTheClient) {
    disconnect(1);

    ASSERT_EQ(ScriptedItc::sent().size(), 2U);
    const SentMessage answer = ScriptedItc::sent()[1];
    EXPECT_EQ(answer.bytes, Bytes().word(kDisconnectCfm).word(9).word(6).get());
    EXPECT_EQ(answer.receiver, kClient);
    EXPECT_EQ(answer.sender, 0xFFF00000U);
    EXPECT_THAT(ScriptedItc::calls(), Contains("unmonitor 0x43"));
    EXPECT_EQ(trace_.count("TRACE1", "Disconnect accepted for command 'status'"), 1U);
}

TEST_F(RciServerDisconnecting, StopsMonitoringBeforeItConfirms) {
    disconnect(1);

    EXPECT_THAT(ScriptedItc::calls(),
                ElementsAre("add_name 0x21 RCI:status", "monitor 0x71 with 0x1707091",
                            "send 0x17070a1", "unmonitor 0x43", "send 0x17070a8"));
}

TEST_F(RciServerDisconnecting, ConfirmsForACommandThatWasDeregistered) {
    server_->deregisterCommandInvoker("status");

    disconnect(1);

    EXPECT_THAT(sentNumbers(), ElementsAre(kConnectCfm, kDisconnectCfm));
    EXPECT_EQ(trace_.count("TRACE1", "Disconnect accepted for command 'status'"), 1U);
}

TEST_F(RciServerDisconnecting, StopsMonitoringWithTheLastConnectionOfAClient) {
    connect("status");

    disconnect(1);
    EXPECT_THAT(ScriptedItc::calls(), Not(Contains("unmonitor 0x43")));

    disconnect(2);
    EXPECT_THAT(ScriptedItc::calls(), Contains("unmonitor 0x43"));
}

TEST_F(RciServerDisconnecting, ForgetsTheConnection) {
    disconnect(1);

    execute(1);

    EXPECT_EQ(trace_.count("ERROR", "Ignoring execute request with invalid connection ref: 1"), 1U);
}

TEST_F(RciServerDisconnecting, DoesNotAnswerForAConnectionThatIsGone) {
    disconnect(1);

    disconnect(1);

    EXPECT_THAT(sentNumbers(), ElementsAre(kConnectCfm, kDisconnectCfm));
    EXPECT_EQ(trace_.count("ERROR", "Ignoring disconnect request with invalid connection ref: 1"),
              1U);
}

TEST_F(RciServerDisconnecting, SilencesAJobThatStillRuns) {
    execute(1);

    disconnect(1);
    jobs_.at(0)->getOutStream() << "late" << std::endl;
    jobs_.at(0)->done(CommandTypes::Success);

    EXPECT_TRUE(jobs_.at(0)->getOutStream().good());
    EXPECT_THAT(sentNumbers(), ElementsAre(kConnectCfm, kExecuteCfm, kDisconnectCfm));
}

TEST_F(RciServerDisconnecting, DoesNotTellOfAnAbortWhenTheClientEndsLater) {
    disconnect(1);

    endClient();

    EXPECT_THAT(trace_.messages("INFO"), IsEmpty());
}

TEST_F(RciServerLosingItsClient, ForgetsTheConnectionAndTellsOfTheAbort) {
    endClient();

    EXPECT_THAT(trace_.messages("INFO"),
                ElementsAre("ABN: command 'status' aborted by the client"));
    execute(1);
    EXPECT_EQ(trace_.count("ERROR", "Ignoring execute request with invalid connection ref: 1"), 1U);
}

TEST_F(RciServerLosingItsClient, ForgetsAllConnectionsOfTheClient) {
    connect("status");

    endClient();

    EXPECT_EQ(trace_.count("INFO", "ABN: command 'status' aborted by the client"), 2U);
}

TEST_F(RciServerLosingItsClient, KeepsTheConnectionsOfOthers) {
    dispatch(Bytes().word(0x017070A0).word(5).word(6).word(1).word(1).word(6).text("status"), 0x99);

    endClient();
    execute(2);

    EXPECT_EQ(jobs_.size(), 1U);
}

TEST_F(RciServerLosingItsClient, SilencesAJobThatStillRuns) {
    execute(1);

    endClient();
    jobs_.at(0)->getOutStream() << "late";
    jobs_.at(0)->done(CommandTypes::Success);

    EXPECT_THAT(sentNumbers(), ElementsAre(kConnectCfm, kExecuteCfm));
}

TEST_F(RciServerLosingItsClient, SendsNothing) {
    endClient();

    EXPECT_THAT(sentNumbers(), ElementsAre(kConnectCfm));
}

TEST_F(RciServerLosingItsClient, TakesAnUnknownReferenceForNothing) {
    server_->handleItcMailboxMonitorInd(17);

    EXPECT_THAT(trace_.messages("INFO"), IsEmpty());
}

}  // namespace
