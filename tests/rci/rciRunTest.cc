#include "rciFixture.h"

#include <signal.h>

#include <csignal>
#include <cstdlib>

namespace {

using QuoriaTest::ChildProcess;
using QuoriaTest::Outcome;
using QuoriaTest::rci;
using QuoriaTest::rciWords;
using QuoriaTest::TestService;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::StartsWith;

void expectOutcome(const Outcome& outcome, int exitCode, const std::string& output,
                   const std::string& error) {
    EXPECT_EQ(outcome.exitCode, exitCode);
    EXPECT_EQ(outcome.output, output);
    EXPECT_EQ(outcome.error, error);
}

TEST(RciRun, TheExitCodeIsTheResultOfTheCommand) {
    const TestService service;

    expectOutcome(rci({"run", "result", "0"}), 0, "", "");
    expectOutcome(rci({"run", "result", "1"}), 1, "", "");
    expectOutcome(rci({"run", "result", "2"}), 2, "", "");
    expectOutcome(rci({"run", "result", "7"}), 2, "", "");
}

TEST(RciRun, ArgumentsArriveAsTheyWereGiven) {
    const TestService service;

    expectOutcome(rci({"run", "args"}), 0, "", "");
    expectOutcome(rci({"run", "args", "--follow", "5"}), 0, "[--follow]\n[5]\n", "");
    expectOutcome(rci({"run", "args", "", "a b", "--help", "--", "-x", "\xFF\n"}), 0,
                  "[]\n[a b]\n[--help]\n[--]\n[-x]\n[\xFF\n]\n", "");
    expectOutcome(rci({"run", "--", "args", "--", "run"}), 0, "[--]\n[run]\n", "");
}

TEST(RciRun, ANameMayHoldAnything) {
    const TestService service({"--odd", "a b\n\xFF"});

    expectOutcome(rci({"run", "--", "--odd", "x"}), 0, "[x]\n", "");
    expectOutcome(rci({"run", "a b\n\xFF", "x"}), 0, "[x]\n", "");
}

TEST(RciRun, OutputArrivesWhileTheCommandRuns) {
    TestService service;
    ChildProcess client(rciWords({"run", "held"}));
    service.awaitHeld();

    service.say("no line end");
    EXPECT_EQ(client.readOutputUntil("no line end"), "no line end");
    service.say("Lost");
    EXPECT_EQ(client.readOutputUntil("Lost"), "Lost");

    service.end(0);
    EXPECT_EQ(client.readOutputToEnd(), "");
    EXPECT_EQ(client.wait(), 0);
}

TEST(RciRun, LargeOutputArrivesWhole) {
    const TestService service;
    const std::string piece = "0123456789abcdef";
    constexpr int times = 200'000;  // more than a message holds, and far more than a pipe

    const Outcome outcome = rci({"run", "repeat", std::to_string(times), piece});

    EXPECT_EQ(outcome.exitCode, 0);
    ASSERT_EQ(outcome.output.size(), piece.size() * times);
    EXPECT_EQ(outcome.output.find(piece, outcome.output.size() - piece.size()),
              outcome.output.size() - piece.size());
}

TEST(RciRun, LargeOutputArrivesWholeAtAReaderThatIsSlowerThanItsPipe) {
    const TestService service;
    ChildProcess::Options options;
    options.outputIsNonBlocking = true;

    const Outcome outcome = rci({"run", "repeat", "100000", "0123456789"}, options);

    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.output.size(), 1'000'000U);
    EXPECT_THAT(outcome.error, IsEmpty());
}

TEST(RciRun, ACommandThatNobodyServesIsNotFound) {
    const std::string where = std::string(" (in mailbox domain ") + getenv("ITC_DOMAIN") + ")\n";

    expectOutcome(rci({"run", "nobody"}), 127, "", "No handler found for command: nobody" + where);
    expectOutcome(rci({"run", "a\nb"}), 127, "", "No handler found for command: a\\x0ab" + where);
}

// As registered by a service, so that both sides mean the same length.
TEST(RciRun, TheLongestNameThatACommandCanHaveIsFound) {
    const std::string longest = std::string(124, 'x') + "/" + std::string(124, 'x');
    const TestService service({longest});

    expectOutcome(rci({"run", longest, "y"}), 0, "[y]\n", "");
    expectOutcome(rci({"run", longest + "x"}), 125, "",
                  "rci: NAME is too long for a command (see rci run --help)\n");
}

TEST(RciRun, ACommandThatWasWithdrawnIsRejected) {
    TestService service;
    service.withdraw("args");

    expectOutcome(rci({"run", "args"}), 2, "",
                  "Connect rejected by server. Client's supported protocol revision is 1\n");
}

TEST(RciRun, AServerThatDiesIsReportedBehindTheOutputSoFar) {
    TestService service;
    ChildProcess client(rciWords({"run", "held"}));
    service.awaitHeld();
    service.say("half a line");
    client.readOutputUntil("half a line");

    service.sendSignal(SIGKILL);
    service.wait();

    EXPECT_EQ(client.wait(), 2);
    EXPECT_EQ(client.readOutputToEnd(), "");
    EXPECT_EQ(client.readErrorToEnd(), "Lost connection to server\n");
}

TEST(RciRun, TheWordsOfTheClientAreOutputWhenACommandPrintsThem) {
    const TestService service;

    for (const std::string words :
         {"Lost connection to server\n", "No handler found for command: verbatim\n",
          "Connect rejected by server. Client's supported protocol revision is 1\n"}) {
        expectOutcome(rci({"run", "verbatim", words, "2"}), 2, words, "");
    }
}

TEST(RciRun, ArgumentsThatNoMessageCanCarryAreAnErrorOfTheTool) {
    const TestService service;
    std::vector<std::string> words{"run", "args"};
    words.resize(12, std::string(120'000, 'x'));

    const Outcome outcome = rci(words);

    expectOutcome(outcome, 125, "", "The arguments are too long to be sent to command: args\n");
}

TEST(RciRun, AnInterruptEndsTheClientAndTheServerDropsTheConnection) {
    TestService service;
    ChildProcess client(rciWords({"run", "held"}));
    service.awaitHeld();

    client.sendSignal(SIGINT);

    EXPECT_EQ(client.wait(), -SIGINT);
    service.awaitInfo("ABN: command 'held' aborted by the client");
    EXPECT_EQ(rci({"run", "args", "x"}).output, "[x]\n");
}

TEST(RciRun, AReaderThatGoesAwayEndsTheClientQuietly) {
    TestService service;
    ChildProcess client(rciWords({"run", "held"}));
    service.awaitHeld();

    client.closeOutput();
    service.say("nobody reads this");

    EXPECT_EQ(client.wait(), 125);
    EXPECT_EQ(client.readErrorToEnd(), "");
    service.awaitInfo("ABN: command 'held' aborted by the client");
}

TEST(RciRun, OutputThatCannotBeWrittenIsAnErrorOfTheTool) {
    const TestService service;
    ChildProcess::Options full;
    full.output = "/dev/full";
    ChildProcess::Options closed;
    closed.outputIsClosed = true;

    expectOutcome(rci({"run", "args", "x"}, full), 125, "",
                  "rci: can't write to standard output: No space left on device\n");
    expectOutcome(rci({"run", "args", "x"}, closed), 125, "",
                  "rci: can't write to standard output: Bad file descriptor\n");
}

TEST(RciRun, AClosedOutputDoesNotMatterToACommandThatPrintsNothing) {
    const TestService service;
    ChildProcess::Options closed;
    closed.outputIsClosed = true;

    expectOutcome(rci({"run", "result", "1"}, closed), 1, "", "");
}

TEST(RciRun, ADomainThatCannotBeUsedIsAnErrorOfTheTool) {
    ChildProcess::Options options;
    options.environment = {"ITC_DOMAIN=/dev/null/domain"};

    const Outcome outcome = rci({"run", "args"}, options);

    EXPECT_EQ(outcome.exitCode, 125);
    EXPECT_THAT(outcome.output, IsEmpty());
    EXPECT_THAT(outcome.error, MatchesRegex("rci: can't create a mailbox: [^\n]+\n"));
}

TEST(Rci, HelpAndVersionGoToStandardOutput) {
    EXPECT_THAT(rci({"--help"}).output, HasSubstr("run"));
    EXPECT_THAT(rci({"run", "--help"}).output, HasSubstr("NAME"));
    EXPECT_THAT(rci({"list", "--help"}).output, HasSubstr("--json"));
    for (const char* part : {"mailboxes", "watch", "doctor"}) {
        EXPECT_THAT(rci({part, "--help"}).output, HasSubstr("--json"));
    }
    EXPECT_THAT(rci({"--version"}).output, StartsWith("rci "));
    EXPECT_EQ(rci({"--help"}).exitCode, 0);
}

TEST(Rci, WrongUsageGoesToStandardError) {
    for (const std::vector<std::string>& words : {std::vector<std::string>{},
                                                  {"bogus\n"},
                                                  {"run"},
                                                  {"run", ""},
                                                  {"list", "--bogus"},
                                                  {"mailboxes", "x"},
                                                  {"watch"},
                                                  {"doctor", "x"}}) {
        const Outcome outcome = rci(words);
        EXPECT_EQ(outcome.exitCode, 125);
        EXPECT_THAT(outcome.output, IsEmpty());
        EXPECT_THAT(outcome.error, MatchesRegex("rci: [^\n]+ \\(see rci [^\n]*--help\\)\n"));
    }
}

TEST(Rci, HelpThatCannotBeWrittenIsAnError) {
    ChildProcess::Options full;
    full.output = "/dev/full";

    EXPECT_EQ(rci({"--help"}, full).exitCode, 125);
}

}  // namespace
