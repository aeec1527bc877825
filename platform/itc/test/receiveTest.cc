#include "childProcess.h"
#include "itcFixture.h"

#include <gtest/gtest.h>
#include <quoriaTest/threadState.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <thread>

#include <pthread.h>
#include <sys/time.h>
#include <unistd.h>

using namespace ItcTest;
using QuoriaTest::isAsleep;

namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::milliseconds;

TEST(Receive, WithoutAMessageReturnsAtOnceWhenItMayNotWait) {
    const OwnMailbox mailbox;
    EXPECT_EQ(receive(ITC_NO_WAIT), nullptr);
}

TEST(Receive, TakesOnlyNumbersOfItsFilterAndLeavesTheRestInOrder) {
    const OwnMailbox mailbox;
    std::uint32_t number = 0;
    for (const std::uint32_t msgNo : {kMsgNo, kOtherMsgNo, kMsgNo, kThirdMsgNo, kOtherMsgNo}) {
        sendNumber(mailbox.id(), number++, msgNo);
    }
    EXPECT_EQ(numberOf(receiveOnly({kThirdMsgNo, kOtherMsgNo})), 1U);
    EXPECT_EQ(numberOf(receiveOnly({kThirdMsgNo, kOtherMsgNo})), 3U);
    EXPECT_EQ(numberOf(receiveOnly({kOtherMsgNo})), 4U);
    EXPECT_EQ(receiveOnly({kOtherMsgNo}, ITC_NO_WAIT), nullptr);
    EXPECT_EQ(queuedNumbers(), (std::vector<std::uint32_t>{0, 2}));
}

TEST(Receive, TakesNothingWithAFilterOfNoNumbers) {
    const OwnMailbox mailbox;
    sendNumber(mailbox.id(), 1);
    EXPECT_EQ(receiveOnly({}, ITC_NO_WAIT), nullptr);
    EXPECT_EQ(receiveOnly({}, 1), nullptr);
    EXPECT_EQ(queuedNumbers(), std::vector<std::uint32_t>{1});
}

TEST(Receive, TakesOnlyFromTheSenderThatItNames) {
    const OwnMailbox mailbox;
    for (const std::uint32_t sender : {11U, 22U, 11U}) {
        itc_msg* message = newNumber(kMsgNo, sender);
        itc_send(&message, mailbox.id(), sender);
    }
    EXPECT_EQ(numberOf(receiveFrom(22)), 22U);
    EXPECT_EQ(receiveFrom(22, ITC_NO_WAIT), nullptr);
    EXPECT_EQ(receiveFrom(33, 1), nullptr);
    EXPECT_EQ(queuedNumbers(), (std::vector<std::uint32_t>{11, 11}));
}

TEST(Receive, NeedsBothFilterAndSenderToMatch) {
    const OwnMailbox mailbox;
    for (const auto& [sender, msgNo] :
         {std::pair{11U, kMsgNo}, std::pair{22U, kOtherMsgNo}, std::pair{11U, kOtherMsgNo}}) {
        itc_msg* message = newNumber(msgNo, sender + msgNo);
        itc_send(&message, mailbox.id(), sender);
    }
    const std::uint32_t filter[] = {1, kOtherMsgNo};
    const Message message(itc_receive(filter, ITC_NO_WAIT, 11));
    EXPECT_EQ(numberOf(message), 11U + kOtherMsgNo);
}

TEST(Receive, GivesUpNotBeforeItsTime) {
    const OwnMailbox mailbox;
    for (const std::uint32_t timeout : {1U, 7U, 30U}) {
        const Clock::time_point start = Clock::now();
        EXPECT_EQ(receive(timeout), nullptr);
        EXPECT_GE(Clock::now() - start, Milliseconds(timeout));
    }
}

TEST(Receive, GivesUpNotBeforeItsTimeWithOtherMessagesQueued) {
    const OwnMailbox mailbox;
    sendNumber(mailbox.id(), 1, kOtherMsgNo);
    const Clock::time_point start = Clock::now();
    EXPECT_EQ(receiveOnly({kMsgNo}, 20), nullptr);
    EXPECT_GE(Clock::now() - start, Milliseconds(20));
    EXPECT_EQ(nextNumber(), 1U);
}

TEST(Receive, IsNotEndedBySignals) {
    const OwnMailbox mailbox;
    static std::atomic<int> signals{0};
    struct sigaction action = {};
    action.sa_handler = [](int) { ++signals; };  // without SA_RESTART
    ASSERT_EQ(sigaction(SIGALRM, &action, nullptr), 0);
    const itimerval everyMillisecond = {{0, 1000}, {0, 1000}};
    ASSERT_EQ(setitimer(ITIMER_REAL, &everyMillisecond, nullptr), 0);

    const Clock::time_point start = Clock::now();
    EXPECT_EQ(receive(50), nullptr);
    EXPECT_GE(Clock::now() - start, Milliseconds(50));
    EXPECT_GT(signals.load(), 0);

    const itimerval never = {};
    ASSERT_EQ(setitimer(ITIMER_REAL, &never, nullptr), 0);
}

// Each signal finds the thread asleep, so the wait itself is interrupted, and several times.
TEST(Receive, WithoutEndWaitsThroughSignalsForItsMessage) {
    const OwnMailbox mailbox;
    static std::atomic<int> signals{0};
    signals = 0;
    struct sigaction action = {};
    action.sa_handler = [](int) { ++signals; };
    ASSERT_EQ(sigaction(SIGUSR1, &action, nullptr), 0);
    const pthread_t receiver = pthread_self();
    const pid_t receiverId = gettid();
    std::thread other([&] {
        for (int sent = 1; sent <= 5; ++sent) {
            while (!isAsleep(receiverId)) {
                std::this_thread::yield();
            }
            EXPECT_EQ(pthread_kill(receiver, SIGUSR1), 0);
            while (signals < sent) {
                std::this_thread::yield();
            }
        }
        sendNumber(mailbox.id(), 5);
    });
    EXPECT_EQ(nextNumber(ITC_WAIT_FOREVER), 5U);
    other.join();
}

TEST(Receive, WaitsForAMessageFromAThread) {
    const OwnMailbox mailbox;
    std::thread other([&mailbox] {
        const OwnMailbox its;
        for (std::uint32_t number = 0; number < 1000; ++number) {
            sendNumber(mailbox.id(), number);
            receive(ITC_WAIT_FOREVER);
        }
    });
    for (std::uint32_t number = 0; number < 1000; ++number) {
        const Message message = receive(ITC_WAIT_FOREVER);
        ASSERT_EQ(numberOf(message), number);
        sendNumber(senderOf(message), 0);
    }
    other.join();
}

TEST(Receive, WaitsForAMessageFromAProcess) {
    const OwnMailbox mailbox;
    ChildProcess other([&mailbox](Channel&) {
        const OwnMailbox its;
        for (std::uint32_t number = 0; number < 1000; ++number) {
            sendNumber(mailbox.id(), number);
            CHILD_CHECK(receive(ITC_WAIT_FOREVER) != nullptr);
        }
        return kDone;
    });
    for (std::uint32_t number = 0; number < 1000; ++number) {
        const Message message = receive(ITC_WAIT_FOREVER);
        ASSERT_EQ(numberOf(message), number);
        sendNumber(senderOf(message), 0);
    }
    EXPECT_EQ(other.wait(), kDone);
}

TEST(Receive, WaitsForAMessageOfItsFilterWhileOthersArrive) {
    const OwnMailbox mailbox;
    ChildProcess other([&mailbox](Channel&) {
        const OwnMailbox its;
        for (std::uint32_t number = 0; number < 100; ++number) {
            sendNumber(mailbox.id(), number, kOtherMsgNo);
            sendNumber(mailbox.id(), number, kMsgNo);
            CHILD_CHECK(receive(ITC_WAIT_FOREVER) != nullptr);
        }
        return kDone;
    });
    for (std::uint32_t number = 0; number < 100; ++number) {
        const Message message = receiveOnly({kMsgNo}, ITC_WAIT_FOREVER);
        ASSERT_EQ(numberOf(message), number);
        sendNumber(senderOf(message), 0);
    }
    EXPECT_EQ(other.wait(), kDone);
    EXPECT_EQ(queuedNumbers().size(), 100U);
}

// Nor does it lose any of what arrived meanwhile.
TEST(Receive, GivesUpInTimeWhileOtherMessagesKeepArriving) {
    const OwnMailbox mailbox;
    // Once so many wait, the others come one by one: the wait must end nevertheless.
    constexpr std::uint32_t kMany = 1'000'000;
    std::atomic<bool> stop{false};
    std::atomic<std::uint32_t> sent{0};
    std::thread other([&] {
        while (!stop) {
            sendNumber(mailbox.id(), sent, kOtherMsgNo);
            if (++sent > kMany) {
                std::this_thread::sleep_for(std::chrono::microseconds(100));
            }
        }
    });
    EXPECT_EQ(numberOf(receiveOnly({kOtherMsgNo})), 0U);
    EXPECT_EQ(receiveOnly({kMsgNo}, 30), nullptr);
    EXPECT_EQ(receiveOnly({kMsgNo}, ITC_NO_WAIT), nullptr);
    stop = true;
    other.join();
    std::uint32_t next = 1;
    while (const Message message = receive(ITC_NO_WAIT)) {
        ASSERT_EQ(numberOf(message), next++);
    }
    EXPECT_EQ(next, sent.load());
}

}  // namespace
