#include "ownMailbox.h"
#include "rciFixture.h"

#include <signal.h>
#include <unistd.h>

#include <cstdlib>

namespace {

using QuoriaTest::ChildProcess;
using QuoriaTest::Outcome;
using QuoriaTest::OwnMailbox;
using QuoriaTest::rci;
using QuoriaTest::TestService;
using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;

TEST(RciMailboxes, AnEmptyDomainHasOnlyAHeading) {
    const Outcome outcome = rci({"mailboxes"});

    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.output,
              "MAILBOX  PID  PROCESS  TID  THREAD  QUEUED  BYTES  MOST  AGE  NAMES\n");
    EXPECT_EQ(outcome.error,
              std::string("no mailbox in mailbox domain ") + std::getenv("ITC_DOMAIN") + "\n");
    const Outcome array = rci({"mailboxes", "--json"});
    EXPECT_EQ(array.output, "[]\n");
    EXPECT_THAT(array.error, IsEmpty());
}

TEST(RciMailboxes, ARowTellsAllAboutAMailbox) {
    OwnMailbox mailbox("first");
    mailbox.addName("second");
    mailbox.fill(3, 1024);
    mailbox.takeOne();

    const Outcome outcome = rci({"mailboxes"});

    const std::string pid = std::to_string(getpid());
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(outcome.error, IsEmpty());
    EXPECT_THAT(outcome.output,
                ContainsRegex("\n" + mailbox.idText() + " +" + pid + " +rciTest +" + pid +
                              " +rciTest +2 +2.0 KiB +3 +[0-9]+ s +first, second\n"));
}

TEST(RciMailboxes, AnObjectTellsTheSame) {
    OwnMailbox mailbox("first");
    mailbox.addName("second");
    mailbox.fill(3, 1024);
    mailbox.takeOne();

    const Outcome outcome = rci({"mailboxes", "--json"});

    const std::string pid = std::to_string(getpid());
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(outcome.output,
                MatchesRegex("\\[\n  \\{\"mailbox\": " + mailbox.idText() +
                             ", \"names\": \\[\"first\", \"second\"\\], \"process\": \"rciTest\", "
                             "\"pid\": " +
                             pid + ", \"thread\": \"rciTest\", \"tid\": " + pid +
                             ", \"queued\": 2, \"queued_bytes\": 2048, \"most_queued\": 3, "
                             "\"age_ms\": [0-9]+\\}\n\\]\n"));
}

TEST(RciMailboxes, AMailboxNeedsNoName) {
    const OwnMailbox mailbox("");

    EXPECT_THAT(rci({"mailboxes"}).output, ContainsRegex("\n" + mailbox.idText() + " .*  -\n"));
    EXPECT_THAT(rci({"mailboxes", "--json"}).output, HasSubstr("\"names\": [],"));
}

TEST(RciMailboxes, AnyNameIsShownSafely) {
    const OwnMailbox mailbox("a \"b\"\n\xFF\x1B[31m");

    EXPECT_THAT(rci({"mailboxes"}).output, HasSubstr("a \"b\"\\x0a\\xff\\x1b[31m\n"));
    EXPECT_THAT(rci({"mailboxes", "--json"}).output,
                HasSubstr("[\"a \\\"b\\\"\\n\xEF\xBF\xBD\\u001b[31m\"]"));
}

TEST(RciMailboxes, ThoseOfADeadProcessAreGone) {
    const OwnMailbox mailbox("mine");
    TestService service;
    EXPECT_THAT(rci({"mailboxes"}).output,
                AllOf(HasSubstr("mine"), HasSubstr("testService, RCI:args")));

    service.sendSignal(SIGKILL);
    service.wait();

    EXPECT_THAT(rci({"mailboxes"}).output, AllOf(HasSubstr("mine"), Not(HasSubstr("testService"))));
}

TEST(RciMailboxes, ADomainThatCannotBeUsedIsAnErrorOfTheTool) {
    ChildProcess::Options options;
    options.environment = {"ITC_DOMAIN=/dev/null/domain"};

    const Outcome outcome = rci({"mailboxes"}, options);

    EXPECT_EQ(outcome.exitCode, 125);
    EXPECT_THAT(outcome.output, IsEmpty());
    EXPECT_THAT(outcome.error, MatchesRegex("rci: can't list the mailboxes: [^\n]+\n"));
}

}  // namespace
