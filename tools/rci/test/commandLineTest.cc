#include "commandLine.h"

#include <gmock/gmock.h>

namespace {

using Rci::Answer;
using Rci::DoctorRequest;
using Rci::ListRequest;
using Rci::MailboxesRequest;
using Rci::parseCommandLine;
using Rci::Request;
using Rci::RunRequest;
using Rci::WatchRequest;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

RunRequest run(const std::vector<std::string>& words) {
    return std::get<RunRequest>(parseCommandLine(words));
}

WatchRequest watch(const std::vector<std::string>& words) {
    return std::get<WatchRequest>(parseCommandLine(words));
}

Answer answer(const std::vector<std::string>& words) {
    return std::get<Answer>(parseCommandLine(words));
}

void expectUsageError(const std::vector<std::string>& words, const std::string& complaint) {
    const Answer error = answer(words);
    EXPECT_EQ(error.exitCode, 125);
    EXPECT_THAT(error.output, IsEmpty());
    EXPECT_EQ(error.complaint, complaint);
}

TEST(CommandLine, RunTakesANameAndItsArguments) {
    EXPECT_EQ(run({"run", "greet"}).name, "greet");
    EXPECT_THAT(run({"run", "greet"}).args, IsEmpty());
    EXPECT_THAT(run({"run", "greet", "big", "world"}).args, ElementsAre("big", "world"));
}

TEST(CommandLine, ArgumentsOfTheCommandAreTakenAsTheyStand) {
    EXPECT_THAT(run({"run", "log", "--follow", "5"}).args, ElementsAre("--follow", "5"));
    EXPECT_THAT(run({"run", "log", "--help"}).args, ElementsAre("--help"));
    EXPECT_THAT(run({"run", "log", "-h", "--version"}).args, ElementsAre("-h", "--version"));
    EXPECT_THAT(run({"run", "log", "list", "--json"}).args, ElementsAre("list", "--json"));
    EXPECT_THAT(run({"run", "log", "", "[a,b]", "a b"}).args, ElementsAre("", "[a,b]", "a b"));
    EXPECT_THAT(run({"run", "log", "--", "-x", "--"}).args, ElementsAre("--", "-x", "--"));
}

TEST(CommandLine, AMarkBeforeTheNameEndsTheOptionsOfRci) {
    EXPECT_EQ(run({"run", "--", "greet"}).name, "greet");
    EXPECT_THAT(run({"run", "--", "greet", "--", "x"}).args, ElementsAre("--", "x"));
    EXPECT_EQ(run({"run", "--", "--odd"}).name, "--odd");
    EXPECT_EQ(run({"run", "--", "--"}).name, "--");
}

TEST(CommandLine, AnyOtherNameIsTakenAsItIs) {
    EXPECT_EQ(run({"run", "-"}).name, "-");
    EXPECT_EQ(run({"run", "run"}).name, "run");
    EXPECT_EQ(run({"run", "list"}).name, "list");
}

TEST(CommandLine, ListTakesAFlagForJson) {
    EXPECT_FALSE(std::get<ListRequest>(parseCommandLine({"list"})).asJson);
    EXPECT_TRUE(std::get<ListRequest>(parseCommandLine({"list", "--json"})).asJson);
}

TEST(CommandLine, MailboxesAndDoctorTakeAFlagForJson) {
    EXPECT_FALSE(std::get<MailboxesRequest>(parseCommandLine({"mailboxes"})).asJson);
    EXPECT_TRUE(std::get<MailboxesRequest>(parseCommandLine({"mailboxes", "--json"})).asJson);
    EXPECT_FALSE(std::get<DoctorRequest>(parseCommandLine({"doctor"})).asJson);
    EXPECT_TRUE(std::get<DoctorRequest>(parseCommandLine({"doctor", "--json"})).asJson);
}

TEST(CommandLine, WatchTakesANameAndItsFlagOnEitherSide) {
    EXPECT_EQ(watch({"watch", "RCI:x"}).name, "RCI:x");
    EXPECT_FALSE(watch({"watch", "x"}).asJson);
    EXPECT_TRUE(watch({"watch", "x", "--json"}).asJson);
    EXPECT_TRUE(watch({"watch", "--json", "x"}).asJson);
    EXPECT_EQ(watch({"watch", "--json", "x"}).name, "x");
}

TEST(CommandLine, WatchTakesAnyName) {
    for (const std::string name : {"-", "++", "[a,b]", "list", "watch", "a b\n\xFF"}) {
        EXPECT_EQ(watch({"watch", name}).name, name);
    }
    EXPECT_EQ(watch({"watch", "--", "--odd"}).name, "--odd");
}

TEST(CommandLine, WatchNeedsTheNameOfAMailbox) {
    expectUsageError({"watch"}, "rci: NAME is required (see rci watch --help)");
    expectUsageError({"watch", ""}, "rci: NAME is empty (see rci watch --help)");
    expectUsageError({"watch", "x", "y"}, "rci: unexpected argument: y (see rci watch --help)");
    expectUsageError({"watch", "x", "--bogus"},
                     "rci: unknown option: --bogus (see rci watch --help)");
    EXPECT_EQ(watch({"watch", std::string(255, 'x')}).name.size(), 255U);
    EXPECT_EQ(watch({"watch", "." + std::string(252, 'x')}).name.size(), 253U);
    for (const std::string& name : {std::string(256, 'x'), "." + std::string(253, 'x')}) {
        expectUsageError({"watch", name},
                         "rci: NAME is too long for a mailbox (see rci watch --help)");
    }
}

TEST(CommandLine, HelpIsThereForEveryPart) {
    EXPECT_THAT(answer({"--help"}).output, HasSubstr("run "));
    EXPECT_THAT(answer({"--help"}).output, HasSubstr("list "));
    EXPECT_THAT(answer({"run", "--help"}).output, HasSubstr("NAME [ARG...]"));
    EXPECT_THAT(answer({"run", "-h", "greet"}).output, HasSubstr("127"));
    EXPECT_THAT(answer({"watch", "--help"}).output, HasSubstr("NAME"));
    EXPECT_THAT(answer({"watch", "x", "--help"}).output, HasSubstr("NAME"));
    for (const char* part : {"list", "mailboxes", "watch", "doctor"}) {
        EXPECT_THAT(answer({part, "--help"}).output, HasSubstr("--json"));
        EXPECT_THAT(answer({part, "--help"}).output, HasSubstr("125"));
    }
    for (const auto& words : {std::vector<std::string>{"--help"}, {"run", "--help"}}) {
        EXPECT_EQ(answer(words).exitCode, 0);
        EXPECT_THAT(answer(words).complaint, IsEmpty());
    }
}

TEST(CommandLine, TheVersionIsTold) {
    EXPECT_THAT(answer({"--version"}).output, testing::MatchesRegex("rci [0-9.]+\n"));
    EXPECT_EQ(answer({"--version"}).exitCode, 0);
}

TEST(CommandLine, AWrongSubcommandIsNamed) {
    expectUsageError({"bogus"}, "rci: unknown subcommand: bogus (see rci --help)");
    expectUsageError({""}, "rci: unknown subcommand:  (see rci --help)");
    expectUsageError({"greet", "world"}, "rci: unknown subcommand: greet (see rci --help)");
    expectUsageError({"greet", "run"}, "rci: unknown subcommand: greet (see rci run --help)");
}

TEST(CommandLine, AWrongOptionIsNamed) {
    expectUsageError({"--bogus"}, "rci: unknown option: --bogus (see rci --help)");
    expectUsageError({"run", "--bogus", "greet"},
                     "rci: unknown option: --bogus (see rci run --help)");
    expectUsageError({"list", "--bogus"}, "rci: unknown option: --bogus (see rci list --help)");
}

TEST(CommandLine, AWordTooManyIsNamed) {
    expectUsageError({"list", "greet"}, "rci: unexpected argument: greet (see rci list --help)");
    expectUsageError({"list", "--", "x"}, "rci: unexpected argument: x (see rci list --help)");
    expectUsageError({"list", "run"}, "rci: unexpected argument: run (see rci list --help)");
}

TEST(CommandLine, WhatIsMissingIsNamed) {
    expectUsageError(
        {},
        "rci: a subcommand is required: run, list, mailboxes, watch or doctor (see rci --help)");
    expectUsageError({"run"}, "rci: NAME is required (see rci run --help)");
    expectUsageError({"run", "--"}, "rci: NAME is required (see rci run --help)");
}

TEST(CommandLine, ANameThatNoCommandCanHaveIsAUsageError) {
    expectUsageError({"run", ""}, "rci: NAME is empty (see rci run --help)");
    expectUsageError({"run", "--", ""}, "rci: NAME is empty (see rci run --help)");
    EXPECT_EQ(run({"run", std::string(251, 'x')}).name.size(), 251U);
    expectUsageError({"run", std::string(252, 'x')},
                     "rci: NAME is too long for a command (see rci run --help)");
}

TEST(CommandLine, TheLengthOfANameIsReckonedAsThatOfAMailbox) {
    for (const char special : {' ', '/', '%', '\n', '\x7F'}) {
        const std::string longest = std::string(83, special) + "xx";
        EXPECT_EQ(run({"run", longest}).name, longest);
        expectUsageError({"run", longest + "x"},
                         "rci: NAME is too long for a command (see rci run --help)");
    }
    EXPECT_EQ(run({"run", std::string(251, '.')}).name.size(), 251U);
}

}  // namespace
