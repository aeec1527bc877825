// The end of a thread on which everything that exists once per thread is alive and in use.
//
// A thread's instances are destroyed in the order in which their keys were made, once per process.
// So each order needs a process of its own: a forked child that ends without a return.
#include "threadInUse.h"

#include <quoriaTest/sanitizers.h>

#include <gmock/gmock.h>

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <thread>

namespace {

using QuoriaTest::Order;

constexpr std::size_t kThreads = 3;

enum class MailboxKey { FIRST, LAST };

// What was still alive or open after the end of some threads, or nothing.
std::string leftBehind(const Order& order, MailboxKey mailboxKey) {
    if (mailboxKey == MailboxKey::FIRST) {
        QuoriaTest::prepareProcess();
    }
    QuoriaTest::makeKeys(order);
    if (mailboxKey == MailboxKey::LAST) {
        QuoriaTest::prepareProcess();
    }
    QuoriaTest::openWhatStays();

    QuoriaTest::Traces traces;
    const std::size_t descriptorsBefore = QuoriaTest::countDescriptors();
    for (std::size_t i = 0; i < kThreads; ++i) {
        std::thread([&] { QuoriaTest::useThread(order, traces); }).join();
    }

    std::string left;
    if (traces.kept.use_count() != 1) {
        left += std::to_string(traces.kept.use_count() - 1) + " callbacks are left. ";
    }
    if (traces.calls != 0) {
        left += "Callbacks were called. ";
    }
    // One or two may be itc's, which keeps what it waits with, and has not waited before.
    if (QuoriaTest::countDescriptors() >= descriptorsBefore + kThreads) {
        left += "Descriptors are left. ";
    }
    return left;
}

// Of the child: 0 if nothing is left behind, the negative number of the signal that has killed it.
int endThreadInChild(const Order& order, MailboxKey mailboxKey) {
    const pid_t child = fork();
    if (child == 0) {
        const std::string left = leftBehind(order, mailboxKey);
        std::cerr << left << std::flush;
        _exit(left.empty() ? 0 : 1);
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

void endThreadsInEveryOrder(MailboxKey mailboxKey) {
    if (QuoriaTest::kThreadSanitizer) {
        GTEST_SKIP()
            << "the sanitizer takes threads of a forked child for those that the parent had";
    }
    Order order = QuoriaTest::firstOrder();
    std::size_t orders = 0;
    do {
        ++orders;
        ASSERT_EQ(endThreadInChild(order, mailboxKey), 0)
            << "with the instances in the order " << testing::PrintToString(order);
    } while (std::next_permutation(order.begin(), order.end()));
    EXPECT_EQ(orders, 720U);
}

TEST(EndOfAThreadInUse, LeavesNothingInWhateverOrderItsInstancesGo) {
    endThreadsInEveryOrder(MailboxKey::LAST);
}

TEST(EndOfAThreadInUse, LeavesNothingIfItsMailboxGoesFirst) {
    endThreadsInEveryOrder(MailboxKey::FIRST);
}

}  // namespace
