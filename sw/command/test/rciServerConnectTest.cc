#include <quoriaTest/rciServerFixture.h>

namespace {

namespace ScriptedItc = QuoriaTest::ScriptedItc;
using QuoriaTest::Bytes;
using QuoriaTest::SentMessage;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

class RciServerRegistering : public QuoriaTest::RciServerFixture {};
class RciServerConnecting : public QuoriaTest::RciServerFixture {};

TEST_F(RciServerRegistering, BeginsWithATraceOfItsInitialisation) {
    EXPECT_THAT(trace_.messages("TRACE1"), ElementsAre("init called"));
    ASSERT_EQ(trace_.events().size(), 1U);
    EXPECT_EQ(trace_.events()[0].obj, "-");
}

TEST_F(RciServerRegistering, MakesACommandKnownUnderItsMailboxName) {
    registerCommand("status");

    EXPECT_THAT(ScriptedItc::calls(), ElementsAre("add_name 0x21 RCI:status"));
    EXPECT_EQ(trace_.count("TRACE1", "Command 'status' registered"), 1U);
    EXPECT_EQ(trace_.count("ERROR", "No mailbox on this thread to serve command: status"), 0U);
}

TEST_F(RciServerRegistering, ReportsThatAThreadWithoutAMailboxCannotBeReached) {
    ScriptedItc::setCurrentMailbox(0xFFFFFFFF);

    registerCommand("status");

    EXPECT_EQ(trace_.count("ERROR", "No mailbox on this thread to serve command: status"), 1U);
}

TEST_F(RciServerRegistering, KeepsTheFirstOfTwoInvokersAndAddsTheNameForBoth) {
    registerCommand("status");
    server_->registerCommandInvoker("status", [](const Job&) { FAIL() << "the second invoker"; });

    connect("status");
    execute(1);

    EXPECT_EQ(jobs_.size(), 1U);
    EXPECT_EQ(trace_.count("TRACE1", "Command 'status' registered"), 2U);
    EXPECT_THAT(ScriptedItc::calls(), Contains("add_name 0x21 RCI:status").Times(2));
}

TEST_F(RciServerRegistering, RejectsClientsOfACommandThatIsDeregistered) {
    registerCommand("status");

    server_->deregisterCommandInvoker("status");
    connect("status");

    EXPECT_EQ(trace_.count("TRACE1", "Command 'status' deregistered"), 1U);
    EXPECT_THAT(sentNumbers(), ElementsAre(0x017070A2));
}

TEST_F(RciServerRegistering, TracesADeregistrationOfWhatIsNotThere) {
    server_->deregisterCommandInvoker("status");

    EXPECT_EQ(trace_.count("TRACE1", "Command 'status' deregistered"), 1U);
}

TEST_F(RciServerConnecting, ConfirmsWithTheReferenceAndTheRevision) {
    registerCommand("status");

    connect("status");

    ASSERT_EQ(ScriptedItc::sent().size(), 1U);
    const SentMessage answer = ScriptedItc::sent()[0];
    EXPECT_EQ(answer.bytes, Bytes().word(0x017070A1).word(5).word(1).word(1).get());
    EXPECT_EQ(answer.receiver, kClient);
    EXPECT_EQ(answer.sender, 0xFFF00000U);
    EXPECT_EQ(trace_.count("TRACE1", "Connect accepted for command 'status'. Protocol rev: 1"), 1U);
}

TEST_F(RciServerConnecting, MonitorsTheClientBeforeItConfirms) {
    registerCommand("status");

    connect("status");

    EXPECT_THAT(ScriptedItc::calls(), ElementsAre("add_name 0x21 RCI:status",
                                                  "monitor 0x71 with 0x1707091", "send 0x17070a1"));
}

TEST_F(RciServerConnecting, CountsItsConnections) {
    registerCommand("status");

    connect("status");
    connect("status");
    disconnect(1);
    connect("status");

    EXPECT_EQ(ScriptedItc::sent().at(1).wordAt(8), 2U);
    EXPECT_EQ(ScriptedItc::sent().at(3).wordAt(8), 3U);
}

TEST_F(RciServerConnecting, DoesNotCountTheClientsThatItRejects) {
    registerCommand("status");

    connect("other");
    connect("status");

    EXPECT_EQ(ScriptedItc::sent().at(1).wordAt(8), 1U);
}

TEST_F(RciServerConnecting, KeepsTheOldConnectionWhenTheCountMeetsItAgain) {
    registerCommand("status");
    registerCommand("other");
    connect("status");
    Quoria::CommandRegistry::Backend::RciServerProbe::setLastConnectionRef(*server_, 0);

    connect("other");
    execute(1);

    EXPECT_EQ(ScriptedItc::sent().at(1).wordAt(8), 1U);
    ASSERT_EQ(jobs_.size(), 1U);
    EXPECT_EQ(jobs_[0]->getCommandName(), "status");
}

TEST_F(RciServerConnecting, CountsOnBehindTheHighestReferenceFromZero) {
    registerCommand("status");
    Quoria::CommandRegistry::Backend::RciServerProbe::setLastConnectionRef(*server_, 0xFFFFFFFF);

    connect("status");

    EXPECT_EQ(ScriptedItc::sent().at(0).wordAt(8), 0U);
}

TEST_F(RciServerConnecting, RejectsACommandThatNobodyHasRegistered) {
    connect("status");

    ASSERT_EQ(ScriptedItc::sent().size(), 1U);
    const SentMessage answer = ScriptedItc::sent()[0];
    EXPECT_EQ(answer.bytes, Bytes().word(0x017070A2).word(5).word(0).get());
    EXPECT_EQ(answer.receiver, kClient);
    EXPECT_EQ(answer.sender, 0xFFF00000U);
    EXPECT_EQ(trace_.count("INFO", "ABN: Connect rejected for command 'status'"), 1U);
}

TEST_F(RciServerConnecting, DoesNotMonitorAClientThatItRejects) {
    connect("status");

    EXPECT_THAT(ScriptedItc::calls(), ElementsAre("send 0x17070a2"));
}

TEST_F(RciServerConnecting, AcceptsRevision1AmongOthers) {
    registerCommand("x");

    dispatch(Bytes().word(0x017070A0).word(5).word(6).word(2).word(2).word(1).word(1).text("x"));

    ASSERT_THAT(sentNumbers(), ElementsAre(0x017070A1));
    EXPECT_EQ(ScriptedItc::sent()[0].wordAt(12), 1U);
}

TEST_F(RciServerConnecting, RejectsAClientThatDoesNotSpeakRevision1) {
    registerCommand("x");

    dispatch(Bytes().word(0x017070A0).word(5).word(6).word(1).word(2).word(1).text("x"));

    EXPECT_THAT(sentNumbers(), ElementsAre(0x017070A2));
    EXPECT_EQ(trace_.count("INFO", "ABN: Connect rejected for command 'x'"), 1U);
}

TEST_F(RciServerConnecting, RejectsAClientThatSpeaksNoRevision) {
    registerCommand("x");

    dispatch(Bytes().word(0x017070A0).word(5).word(6).word(0).word(1).text("x"));

    EXPECT_THAT(sentNumbers(), ElementsAre(0x017070A2));
}

TEST_F(RciServerConnecting, TellsNamesApartThatBeginAlike) {
    registerCommand("x");

    connect("xy");
    connect("");
    connect(std::string("x\0y", 3));

    EXPECT_THAT(sentNumbers(), ElementsAre(0x017070A2, 0x017070A2, 0x017070A2));
}

TEST_F(RciServerConnecting, AcceptsTheEmptyNameIfItIsRegistered) {
    registerCommand("");

    connect("");

    EXPECT_THAT(sentNumbers(), ElementsAre(0x017070A1));
}

TEST_F(RciServerConnecting, SurvivesThatItcHasNoMemoryForTheAnswer) {
    registerCommand("x");
    ScriptedItc::failAlloc(0x017070A1);

    connect("x");
    execute(1);

    EXPECT_EQ(trace_.count("ERROR", "itc_alloc failed for a message to mailbox: 0x71"), 1U);
    EXPECT_EQ(jobs_.size(), 1U);
}

// An answer that can't be sent leaves a trace as well, and so the order shows.
TEST_F(RciServerConnecting, TracesThatItAcceptsBeforeItAnswers) {
    registerCommand("status");
    ScriptedItc::failAlloc(0x017070A1);
    const std::size_t before = trace_.events().size();

    connect("status");

    EXPECT_THAT(messagesSince(before),
                ElementsAre("Connect accepted for command 'status'. Protocol rev: 1",
                            "itc_alloc failed for a message to mailbox: 0x71"));
}

TEST_F(RciServerConnecting, TracesThatItRejectsBeforeItAnswers) {
    ScriptedItc::failAlloc(0x017070A2);
    const std::size_t before = trace_.events().size();

    connect("other");

    EXPECT_THAT(messagesSince(before),
                ElementsAre("ABN: Connect rejected for command 'other'",
                            "itc_alloc failed for a message to mailbox: 0x71"));
}

}  // namespace
