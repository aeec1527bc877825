#include "rciFixture.h"

#include <algorithm>
#include <cstdlib>
#include <sstream>

namespace {

using QuoriaTest::ChildProcess;
using QuoriaTest::Outcome;
using QuoriaTest::rci;
using QuoriaTest::TestService;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> result;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        result.push_back(line);
    }
    return result;
}

// A service's row of the table, with the blanks between its cells reduced to one.
std::string row(const std::string& command, const TestService& service) {
    return command + " " + service.mailbox() + " " + std::to_string(service.pid()) +
           " rciTestService";
}

std::vector<std::string> rows(const std::string& table) {
    std::vector<std::string> result;
    for (std::string line : lines(table)) {
        const auto isSecondBlank = [](char a, char b) { return a == ' ' && b == ' '; };
        line.erase(std::unique(line.begin(), line.end(), isSecondBlank), line.end());
        result.push_back(line);
    }
    return result;
}

std::string object(const std::string& command, const TestService& service) {
    return "  {\"command\": " + command + ", \"mailbox\": " + service.mailbox() +
           ", \"pid\": " + std::to_string(service.pid()) + ", \"process\": \"rciTestService\"}";
}

TEST(RciList, EveryCommandHasARowOrderedByName) {
    const TestService service({"zeta", "alpha"});

    const Outcome outcome = rci({"list"});

    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(outcome.error, IsEmpty());
    EXPECT_THAT(
        rows(outcome.output),
        ElementsAre("COMMAND MAILBOX PID PROCESS", row("alpha", service), row("args", service),
                    row("held", service), row("repeat", service), row("result", service),
                    row("verbatim", service), row("zeta", service)));
}

TEST(RciList, TheColumnsAreAligned) {
    const TestService service({"gr\xC3\xBC\xC3\x9F", "a command with a long name"});

    const Outcome outcome = rci({"list"});

    const std::vector<std::string> all = lines(outcome.output);
    const std::size_t column = all.at(0).find("MAILBOX");
    EXPECT_GT(column, std::string("a command with a long name").size());
    for (const std::string& line : all) {
        const std::size_t twoLetters = line.find("\xC3\xBC\xC3\x9F") != std::string::npos ? 2 : 0;
        const std::size_t expected = column + twoLetters;  // their bytes, not their width
        EXPECT_EQ(line.at(expected - 1), ' ') << line;
        EXPECT_NE(line.at(expected), ' ') << line;
    }
}

TEST(RciList, WithoutAnyCommandThereIsOnlyTheHeading) {
    const Outcome outcome = rci({"list"});

    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.output, "COMMAND  MAILBOX  PID  PROCESS\n");
    EXPECT_EQ(outcome.error,
              std::string("no command in mailbox domain ") + std::getenv("ITC_DOMAIN") + "\n");
}

TEST(RciList, WithoutAnyCommandTheArrayIsEmpty) {
    const Outcome outcome = rci({"list", "--json"});

    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.output, "[]\n");
    EXPECT_THAT(outcome.error, IsEmpty());
}

TEST(RciList, JsonHoldsTheSameAsTheTable) {
    const TestService service;

    const Outcome outcome = rci({"list", "--json"});

    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.output,
              "[\n" + object("\"args\"", service) + ",\n" + object("\"held\"", service) + ",\n" +
                  object("\"repeat\"", service) + ",\n" + object("\"result\"", service) + ",\n" +
                  object("\"verbatim\"", service) + "\n]\n");
}

TEST(RciList, AnyNameIsShownSafely) {
    const TestService service({"a \"b\"\n\xFF\\", "\x1B[31m"});

    const std::string table = rci({"list"}).output;
    EXPECT_THAT(table, HasSubstr("a \"b\"\\x0a\\xff\\ "));
    EXPECT_THAT(table, HasSubstr("\\x1b[31m "));

    const std::string json = rci({"list", "--json"}).output;
    EXPECT_THAT(json, HasSubstr("\"a \\\"b\\\"\\n\xEF\xBF\xBD\\\\\""));
    EXPECT_THAT(json, HasSubstr("\"\\u001b[31m\""));
}

TEST(RciList, OfTwoServicesWithTheSameCommandTheOneThatClientsGetIsListed) {
    const TestService first;
    auto second = std::make_unique<TestService>(std::vector<std::string>{"extra"});

    const std::vector<std::string> all = rows(rci({"list"}).output);
    EXPECT_EQ(std::count(all.begin(), all.end(), row("args", first)), 1);
    EXPECT_EQ(std::count(all.begin(), all.end(), row("args", *second)), 0);
    EXPECT_EQ(std::count(all.begin(), all.end(), row("extra", *second)), 1);
}

TEST(RciList, CommandsGoWithTheirService) {
    {
        TestService service;
        service.sendSignal(SIGKILL);
        service.wait();
    }

    EXPECT_EQ(rci({"list", "--json"}).output, "[]\n");
}

TEST(RciList, ADomainThatCannotBeUsedIsAnErrorOfTheTool) {
    ChildProcess::Options options;
    options.environment = {"ITC_DOMAIN=/dev/null/domain"};

    for (const std::vector<std::string>& words :
         {std::vector<std::string>{"list"}, {"list", "--json"}}) {
        const Outcome outcome = rci(words, options);
        EXPECT_EQ(outcome.exitCode, 125);
        EXPECT_THAT(outcome.output, IsEmpty());
        EXPECT_THAT(outcome.error, MatchesRegex("rci: can't list the mailboxes: [^\n]+\n"));
    }
}

TEST(RciList, AListThatCannotBeWrittenIsAnErrorOfTheTool) {
    ChildProcess::Options full;
    full.output = "/dev/full";

    const Outcome outcome = rci({"list"}, full);

    EXPECT_EQ(outcome.exitCode, 125);
    EXPECT_EQ(outcome.error, "rci: can't write to standard output: No space left on device\n");
}

}  // namespace
