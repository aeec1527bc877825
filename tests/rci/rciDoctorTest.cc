#include "ownMailbox.h"
#include "rciFixture.h"

#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

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
using testing::Not;

class RciDoctor : public testing::Test {
protected:
    static std::string testDomain() { return getenv("ITC_DOMAIN"); }

    // What is said of the domain at `path`.
    static Outcome doctorOf(const std::string& path) {
        ChildProcess::Options options;
        options.environment = {"ITC_DOMAIN=" + path};
        return rci({"doctor"}, options);
    }
    static Outcome doctorUnderLimit(const std::string& limit) {
        return QuoriaTest::runToEnd(
            {"sh", "-c", "ulimit " + limit + " && exec \"$0\" doctor", PEER_RCI});
    }
    static void makeFolder(const std::string& path, mode_t mode) {
        ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
        ASSERT_EQ(chmod(path.c_str(), mode), 0);
    }

    // A place for a domain of another kind than the test's own.
    const std::string path_ = testDomain() + "/it";
};

TEST_F(RciDoctor, ASoundDomainHasNoProblem) {
    const OwnMailbox mailbox("mine");

    const Outcome outcome = rci({"doctor"});

    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(outcome.error, IsEmpty());
    EXPECT_THAT(outcome.output, Not(HasSubstr("problem")));
    EXPECT_THAT(
        outcome.output,
        AllOf(ContainsRegex("ok +the domain is " + testDomain() + ", of .+, mode 0700\n"),
              ContainsRegex("ok +its layout version is [0-9]+\n"),
              ContainsRegex("ok +it lies in memory \\(tmpfs\\), .+ are free\n"),
              ContainsRegex("ok +processes: 1 of 4094, mailboxes: 1, memory .+: [0-9.]+ KiB\n"),
              ContainsRegex("ok +no dead process has left anything\n")));
}

TEST_F(RciDoctor, TheObjectsHoldWhatTheLinesHoldAndTheNumbers) {
    const OwnMailbox mailbox("mine");

    const Outcome outcome = rci({"doctor", "--json"});

    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(outcome.output,
                ContainsRegex("^\\[\n  \\{\"level\": \"ok\", \"topic\": \"folder\", \"text\": "
                              "\"the domain is [^\n]+\", \"path\": \"" +
                              testDomain() + "\", \"owner\": [0-9]+, \"mode\": \"0700\"\\},\n"));
    EXPECT_THAT(outcome.output, HasSubstr(", \"processes\": 1, \"mailboxes\": 1, "));
    EXPECT_THAT(outcome.output, ContainsRegex("\\}\n\\]\n$"));
}

TEST_F(RciDoctor, AMissingDomainIsNotMade) {
    const Outcome outcome = doctorOf(path_);

    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(outcome.output, HasSubstr("note  the domain " + path_ + " is not there yet"));
    EXPECT_FALSE(std::filesystem::exists(path_));
}

TEST_F(RciDoctor, ADomainThatCannotBeMadeIsAProblem) {
    const Outcome outcome = doctorOf(path_ + "/deeper");

    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.output, HasSubstr("problem  the domain " + path_ +
                                          "/deeper is missing and can't be made: No such file"));
}

TEST_F(RciDoctor, ADomainThatIsOpenToEveryoneIsAProblem) {
    makeFolder(path_, 0777);

    const Outcome outcome = doctorOf(path_);

    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.output, ContainsRegex("note +the domain is .+, mode 0777\n"));
    EXPECT_THAT(outcome.output, ContainsRegex("problem .+ is open to everyone \\(mode 0777\\)"));
}

TEST_F(RciDoctor, ADomainOfAnotherLayoutVersionIsAProblem) {
    makeFolder(path_, 0700);
    std::ofstream(path_ + "/domain") << "iqdomain" << std::string({7, 0, 0, 0, 0, 0, 0, 0});

    const Outcome outcome = doctorOf(path_);

    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.output, HasSubstr("its layout version is 7\n"));
    EXPECT_THAT(outcome.output, ContainsRegex("problem .+ has layout version 7, this library"));
}

TEST_F(RciDoctor, WhatIsNoDomainIsAProblem) {
    std::ofstream(path_) << "a file";

    EXPECT_EQ(doctorOf(path_).exitCode, 1);
    EXPECT_THAT(doctorOf(path_).output, ContainsRegex("problem .+ can't open the mailbox domain"));
    EXPECT_EQ(doctorOf("relative").exitCode, 1);
    EXPECT_THAT(doctorOf("relative").output, ContainsRegex("problem .+ must be an absolute path"));
}

TEST_F(RciDoctor, APathThatLeadsNowhereIsAProblem) {
    ASSERT_EQ(symlink("nothing", path_.c_str()), 0);

    for (const std::string& path : {std::string("/dev/null/domain"), path_}) {
        const Outcome outcome = doctorOf(path);
        EXPECT_EQ(outcome.exitCode, 1);
        EXPECT_THAT(outcome.error, IsEmpty());
        EXPECT_THAT(outcome.output, ContainsRegex("problem +can't list the processes: .+" + path));
    }
}

TEST_F(RciDoctor, FindingsThatCannotBeWrittenAreAnErrorOfTheTool) {
    ChildProcess::Options full;
    full.output = "/dev/full";

    const Outcome outcome = rci({"doctor"}, full);

    EXPECT_EQ(outcome.exitCode, 125);
    EXPECT_EQ(outcome.error, "rci: can't write to standard output: No space left on device\n");
}

TEST_F(RciDoctor, ManyWaitingMessagesAreAProblemOfTheirThread) {
    OwnMailbox mailbox("odd\n");
    mailbox.fill(999, 4);
    EXPECT_EQ(rci({"doctor"}).exitCode, 0);
    mailbox.fill(1, 4);

    const Outcome outcome = rci({"doctor"});

    const std::string pid = std::to_string(getpid());
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.output,
                HasSubstr("problem  1000 messages (3.9 KiB) wait in mailbox " + mailbox.idText() +
                          " (odd\\x0a): see what thread rciTest (" + pid +
                          ") of process rciTest (pid " + pid + ") is doing\n"));
    EXPECT_THAT(rci({"doctor", "--json"}).output,
                HasSubstr("\"queued\": 1000, \"queued_bytes\": 4000, "));
}

TEST_F(RciDoctor, LargeWaitingMessagesAreAProblemToo) {
    OwnMailbox mailbox("mine");
    mailbox.fill(63, itc_get_max_size());
    EXPECT_EQ(rci({"doctor"}).exitCode, 0);
    mailbox.fill(1, itc_get_max_size());

    const Outcome outcome = rci({"doctor"});

    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.output, HasSubstr("problem  64 messages (64.0 MiB) wait in mailbox "));
}

TEST_F(RciDoctor, WhatAKilledProcessLeftIsNotedAndRemoved) {
    {
        TestService service;
        service.sendSignal(SIGKILL);
        service.wait();
    }

    const Outcome outcome = rci({"doctor"});

    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(outcome.output,
                ContainsRegex("note +processes that were killed or crashed, .+ now: 1\n"));
    EXPECT_THAT(rci({"doctor"}).output, HasSubstr("no dead process has left anything\n"));
}

TEST_F(RciDoctor, WhatCannotBeRemovedIsAProblem) {
    ASSERT_TRUE(std::filesystem::create_directories(testDomain() + "/process-0007/a/b"));

    const Outcome outcome = rci({"doctor"});

    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.output,
                HasSubstr("problem  dead processes whose entries can't be removed: 1\n"));
}

TEST_F(RciDoctor, UndeliveredMessagesAreNoted) {
    const OwnMailbox mailbox("mine");
    OwnMailbox::send(mailbox.id() + 1, 2, 4);

    const Outcome outcome = rci({"doctor"});

    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(
        outcome.output,
        ContainsRegex("note +messages to mailboxes that were gone: 2, from process rciTest"));
}

TEST_F(RciDoctor, AProcessThatIsStoppedIsAProblem) {
    TestService service;
    service.sendSignal(SIGSTOP);
    int status = 0;
    ASSERT_EQ(waitpid(service.pid(), &status, WUNTRACED), service.pid());
    ASSERT_TRUE(WIFSTOPPED(status));

    const Outcome outcome = rci({"doctor"});

    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.output,
                HasSubstr("problem  process rciTestService (pid " + std::to_string(service.pid()) +
                          ") is stopped and answers nobody\n"));
    service.sendSignal(SIGCONT);
    ASSERT_EQ(waitpid(service.pid(), &status, WCONTINUED), service.pid());
    EXPECT_EQ(rci({"doctor"}).exitCode, 0);
}

TEST_F(RciDoctor, LowLimitsAreTold) {
    const TestService service;  // the domain is there

    const Outcome files = doctorUnderLimit("-f 2048");
    EXPECT_EQ(files.exitCode, 1);
    EXPECT_THAT(files.output, ContainsRegex("problem +files may have 1.0 MiB \\(ulimit -f\\)"));
    const Outcome descriptors = doctorUnderLimit("-n 100");
    EXPECT_EQ(descriptors.exitCode, 0);
    EXPECT_THAT(descriptors.output, ContainsRegex("note +a process may have only 100 descriptors"));
}

}  // namespace
