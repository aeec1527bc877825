// What belongs to the caller and its process, and is as it was after every call.

#include "childProcess.h"
#include "itcFixture.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>

#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace ItcTest;

namespace {

// Everything that can be called, with success and with failure.
void callEverything() {
    const auto keepsErrno = [](const char* what) {
        EXPECT_EQ(errno, 4711) << what;
        errno = 4711;
    };
    errno = 4711;
    const itc_mbox_id_t id = itc_create_mailbox("me", 0);
    keepsErrno("create");
    itc_create_mailbox("me", 0);
    keepsErrno("create again");
    itc_current_mbox();
    itc_get_fd();
    keepsErrno("get_fd");
    itc_add_name(id, "too");
    itc_add_name(id, "");
    keepsErrno("add_name");
    itc_msg* message = itc_alloc(0, kMsgNo);
    keepsErrno("alloc of nothing");
    for (const itc_mbox_id_t receiver : {id, 0x00500001U, ITC_NO_MAILBOX}) {
        message = itc_alloc(8, kMsgNo);
        keepsErrno("alloc");
        itc_send(&message, receiver, ITC_OWN_MAILBOX);
        keepsErrno("send");
    }
    message = itc_receive(nullptr, ITC_NO_WAIT, ITC_ANY_SENDER);
    keepsErrno("receive");
    itc_sender(message);
    itc_size(message);
    keepsErrno("sender and size");
    itc_free(&message);
    keepsErrno("free");
    itc_receive(nullptr, ITC_NO_WAIT, ITC_ANY_SENDER);
    keepsErrno("receive nothing");
    itc_receive(nullptr, 1, ITC_ANY_SENDER);
    keepsErrno("receive in vain");
    char buffer[16];
    itc_get_name(id, buffer, sizeof(buffer));
    itc_get_name(0x00500001, buffer, sizeof(buffer));
    keepsErrno("get_name");
    itc_locate("me");
    itc_locate("nobody");
    keepsErrno("locate");
    for (const char* name : {"me", "nobody", ""}) {
        message = itc_alloc(8, kMsgNo);
        itc_locate_async(name, &message, ITC_OWN_MAILBOX);
        keepsErrno("locate_async");
    }
    for (const itc_mbox_id_t monitored : {id, 0x00500001U, id + 1}) {
        message = itc_alloc(8, kMsgNo);
        itc_unmonitor(itc_monitor(monitored, &message));
        keepsErrno("monitor");
    }
    itc_list_mailboxes([](const itc_mailbox_info*, void*) { return true; }, nullptr);
    itc_domain_path();
    itc_error_text();
    keepsErrno("admin");
    itc_delete_mailbox(id);
    keepsErrno("delete");
    itc_get_fd();
    itc_delete_mailbox(id);
    keepsErrno("without a mailbox");
}

TEST(SideEffect, ErrnoIsKept) {
    callEverything();
    setenv("ITC_DOMAIN", "/nowhere/at/all", 1);
    ChildProcess other([](Channel&) {
        errno = 4711;
        itc_create_mailbox(nullptr, 0);
        itc_locate("x");
        CHILD_CHECK(errno == 4711);
        return kDone;
    });
    EXPECT_EQ(other.wait(), kDone);
}

TEST(SideEffect, UmaskAndSignalMaskAreKept) {
    const mode_t mask = umask(0123);
    sigset_t before;
    sigset_t after;
    ASSERT_EQ(sigprocmask(SIG_BLOCK, nullptr, &before), 0);
    callEverything();
    ASSERT_EQ(sigprocmask(SIG_BLOCK, nullptr, &after), 0);
    EXPECT_EQ(umask(mask), 0123U);
    for (int signal = 1; signal < NSIG; ++signal) {
        EXPECT_EQ(sigismember(&before, signal), sigismember(&after, signal)) << signal;
    }
}

TEST(SideEffect, SignalHandlersAreKept) {
    struct sigaction before[NSIG] = {};
    for (int signal = 1; signal < NSIG; ++signal) {
        sigaction(signal, nullptr, &before[signal]);
    }
    callEverything();
    for (int signal = 1; signal < NSIG; ++signal) {
        struct sigaction after = {};
        sigaction(signal, nullptr, &after);
        EXPECT_EQ(after.sa_handler, before[signal].sa_handler) << signal;
    }
}

// With the default of SIGPIPE, which would end this process.
TEST(SideEffect, NoSignalIsRaisedByTheEndOfOthers) {
    ASSERT_NE(::signal(SIGPIPE, SIG_DFL), SIG_ERR);
    static int children = 0;
    ASSERT_NE(::signal(SIGCHLD, [](int) { ++children; }), SIG_ERR);
    const OwnMailbox mine;
    ChildProcess other([](Channel& test) {
        test.put(itc_create_mailbox("other", 0));
        test.get();
        return kDone;
    });
    const itc_mbox_id_t its = other.get();
    monitor(its);
    sendNumber(its, 1);
    other.kill();
    EXPECT_EQ(children, 1);
    for (std::uint32_t number = 0; number < 1000; ++number) {
        sendNumber(its, number);
    }
    EXPECT_EQ(senderOf(receive()), its);
    EXPECT_EQ(children, 1);
}

TEST(SideEffect, NoChildIsLeftToWaitFor) {
    callEverything();
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
}

std::size_t countThreads() {
    const std::filesystem::directory_iterator all("/proc/self/task");
    return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

TEST(SideEffect, NoThreadIsStarted) {
    const std::size_t before = countThreads();
    const OwnMailbox mine;
    monitor(mine.id());
    locateAsync("later");
    EXPECT_EQ(countThreads(), before);
}

// Locking all memory must not fill the holes of the inboxes, which are 1 GiB each.
TEST(SideEffect, MemoryIsNotTakenUpInAProcessThatLocksIt) {
    if (mlockall(MCL_CURRENT | MCL_FUTURE) != 0) {
        GTEST_SKIP() << "this user can't lock its memory";
    }
    const OwnMailbox mine;
    ASSERT_NE(mine.id(), ITC_NO_MAILBOX) << itc_error_text();
    EXPECT_LT(domainBytes(), std::size_t{4} << 20);
    munlockall();
}

// Making the inbox would raise SIGXFSZ.
TEST(SideEffect, AFileSizeLimitIsAnErrorAndNotASignal) {
    rlimit limit = {};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
    limit.rlim_cur = 1 << 20;
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    EXPECT_EQ(itc_create_mailbox(nullptr, 0), ITC_NO_MAILBOX);
    EXPECT_NE(std::string(itc_error_text()).find("RLIMIT_FSIZE"), std::string::npos);
    limit.rlim_cur = limit.rlim_max;
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    EXPECT_NE(itc_create_mailbox(nullptr, 0), ITC_NO_MAILBOX);
}

}  // namespace
