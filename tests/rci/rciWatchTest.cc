#include "ownMailbox.h"
#include "rciFixture.h"

#include <signal.h>
#include <unistd.h>

#include <memory>

namespace {

using QuoriaTest::ChildProcess;
using QuoriaTest::Outcome;
using QuoriaTest::OwnMailbox;
using QuoriaTest::rci;
using QuoriaTest::rciWords;
using QuoriaTest::TestService;
using testing::IsEmpty;
using testing::MatchesRegex;

std::string owner(const TestService& service) {
    return "process rciTestService (pid " + std::to_string(service.pid()) + ")";
}

TEST(RciWatch, ItWaitsForAMailboxAndTellsHowItsProcessWasKilled) {
    ChildProcess watcher(rciWords({"watch", "testService"}));
    EXPECT_EQ(watcher.readLine(), "no mailbox is called testService yet\n");
    TestService service;
    EXPECT_EQ(watcher.readLine(),
              "testService is mailbox " + service.mailbox() + " of " + owner(service) + "\n");

    service.sendSignal(SIGKILL);

    EXPECT_EQ(watcher.readOutputToEnd(), "mailbox " + service.mailbox() + " is gone: its " +
                                             owner(service) +
                                             " ended, killed by signal 9 (Killed)\n");
    EXPECT_EQ(watcher.wait(), 0);
}

TEST(RciWatch, ItTellsWithWhichExitCodeTheProcessEnded) {
    TestService service;
    ChildProcess watcher(rciWords({"watch", "RCI:args"}));
    EXPECT_EQ(watcher.readLine(),
              "RCI:args is mailbox " + service.mailbox() + " of " + owner(service) + "\n");

    service.exit(3);

    EXPECT_EQ(watcher.readOutputToEnd(), "mailbox " + service.mailbox() + " is gone: its " +
                                             owner(service) + " ended with exit code 3\n");
    EXPECT_EQ(watcher.wait(), 0);
}

TEST(RciWatch, ItTellsAMailboxThatWasDeletedFromAProcessThatEnded) {
    auto mailbox = std::make_unique<OwnMailbox>("mine");
    const std::string id = mailbox->idText();
    ChildProcess watcher(rciWords({"watch", "mine"}));
    watcher.readLine();

    mailbox.reset();

    EXPECT_EQ(watcher.readOutputToEnd(), "mailbox " + id +
                                             " was deleted, or its thread ended; process rciTest "
                                             "(pid " +
                                             std::to_string(getpid()) + ") lives on\n");
    EXPECT_EQ(watcher.wait(), 0);
}

TEST(RciWatch, EachEventIsAnObjectOnALineOfItsOwn) {
    ChildProcess watcher(rciWords({"watch", "RCI:args", "--json"}));
    EXPECT_EQ(watcher.readLine(), "{\"event\": \"waiting\", \"name\": \"RCI:args\"}\n");
    TestService service;
    const std::string whose = "\"name\": \"RCI:args\", \"mailbox\": " + service.mailbox() +
                              ", \"pid\": " + std::to_string(service.pid()) +
                              ", \"process\": \"rciTestService\"";
    EXPECT_EQ(watcher.readLine(), "{\"event\": \"appeared\", " + whose + "}\n");

    service.sendSignal(SIGKILL);

    EXPECT_EQ(watcher.readOutputToEnd(), "{\"event\": \"ended\", " + whose + ", \"signal\": 9}\n");
    EXPECT_EQ(watcher.wait(), 0);
}

TEST(RciWatch, ObjectsTellADeletionAndAnExitCode) {
    auto mailbox = std::make_unique<OwnMailbox>("mine");
    ChildProcess first(rciWords({"watch", "--json", "mine"}));
    first.readLine();
    mailbox.reset();
    EXPECT_THAT(first.readOutputToEnd(), MatchesRegex("\\{\"event\": \"deleted\", [^\n]+\\}\n"));

    TestService service;
    ChildProcess second(rciWords({"watch", "--json", "testService"}));
    second.readLine();
    service.exit(0);
    EXPECT_THAT(second.readOutputToEnd(),
                MatchesRegex("\\{\"event\": \"ended\", [^\n]+, \"exit_code\": 0\\}\n"));
}

TEST(RciWatch, AnyNameIsShownSafely) {
    const std::string name = "a \"b\"\n\xFF";
    const OwnMailbox mailbox(name);

    ChildProcess words(rciWords({"watch", name}));
    EXPECT_THAT(words.readLine(), MatchesRegex("a \"b\"\\\\x0a\\\\xff is mailbox [^\n]+\n"));
    ChildProcess objects(rciWords({"watch", name, "--json"}));
    EXPECT_THAT(objects.readLine(),
                MatchesRegex("[^\n]+\"name\": \"a \\\\\"b\\\\\"\\\\n\xEF\xBF\xBD\", [^\n]+\n"));
}

TEST(RciWatch, AnInterruptEndsIt) {
    ChildProcess watcher(rciWords({"watch", "nobody"}));
    watcher.readLine();

    watcher.sendSignal(SIGINT);

    EXPECT_EQ(watcher.wait(), -SIGINT);
}

TEST(RciWatch, ADomainThatCannotBeUsedIsAnErrorOfTheTool) {
    ChildProcess::Options options;
    options.environment = {"ITC_DOMAIN=/dev/null/domain"};

    const Outcome outcome = rci({"watch", "x"}, options);

    EXPECT_EQ(outcome.exitCode, 125);
    EXPECT_THAT(outcome.output, IsEmpty());
    EXPECT_THAT(outcome.error, MatchesRegex("rci: can't create a mailbox: [^\n]+\n"));
}

}  // namespace
