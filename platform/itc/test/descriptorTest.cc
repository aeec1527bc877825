#include "childProcess.h"
#include "itcFixture.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include <sys/epoll.h>
#include <unistd.h>

using namespace ItcTest;

namespace {

TEST(MailboxDescriptor, IsReadableExactlyWhileAMessageIsQueued) {
    const OwnMailbox mailbox;
    const int fd = itc_get_fd();
    EXPECT_FALSE(isReadable(fd));
    for (int round = 0; round < 3; ++round) {
        sendNumber(mailbox.id(), 1);
        EXPECT_TRUE(isReadable(fd));
        sendNumber(mailbox.id(), 2);
        receive();
        EXPECT_TRUE(isReadable(fd));
        receive();
        EXPECT_FALSE(isReadable(fd));
        EXPECT_EQ(receive(ITC_NO_WAIT), nullptr);
        EXPECT_FALSE(isReadable(fd));
    }
}

TEST(MailboxDescriptor, StaysTheSameForTheLifeOfTheMailbox) {
    const OwnMailbox mailbox;
    const int fd = itc_get_fd();
    sendNumber(mailbox.id(), 1);
    receive();
    EXPECT_EQ(itc_get_fd(), fd);
}

TEST(MailboxDescriptor, StaysReadableForWhatAFilterHasLeft) {
    const OwnMailbox mailbox;
    const int fd = itc_get_fd();
    sendNumber(mailbox.id(), 1, kOtherMsgNo);
    sendNumber(mailbox.id(), 2, kMsgNo);
    EXPECT_EQ(numberOf(receiveOnly({kMsgNo})), 2U);
    EXPECT_TRUE(isReadable(fd));
    EXPECT_EQ(receiveOnly({kMsgNo}, ITC_NO_WAIT), nullptr);
    EXPECT_TRUE(isReadable(fd));
    EXPECT_EQ(receiveOnly({kMsgNo}, 1), nullptr);
    EXPECT_TRUE(isReadable(fd));
}

TEST(MailboxDescriptor, IsSilentOnceWhatAFilterHadLeftIsTaken) {
    const OwnMailbox mailbox;
    const int fd = itc_get_fd();
    sendNumber(mailbox.id(), 1, kOtherMsgNo);
    sendNumber(mailbox.id(), 2, kOtherMsgNo);
    EXPECT_EQ(receiveOnly({kMsgNo}, 1), nullptr);
    EXPECT_EQ(nextNumber(), 1U);
    EXPECT_TRUE(isReadable(fd));
    EXPECT_EQ(nextNumber(), 2U);
    EXPECT_FALSE(isReadable(fd));
}

TEST(MailboxDescriptor, IsReadableForMessagesOfAnotherProcess) {
    const OwnMailbox mailbox;
    const int fd = itc_get_fd();
    ChildProcess other([&mailbox](Channel& test) {
        for (;;) {
            const std::uint32_t number = test.get();
            sendNumber(mailbox.id(), number);
            test.put(number);
        }
        return kDone;
    });
    for (std::uint32_t number = 0; number < 10; ++number) {
        EXPECT_FALSE(isReadable(fd));
        other.put(number);
        other.get();
        EXPECT_TRUE(isReadable(fd));
        EXPECT_EQ(nextNumber(), number);
    }
    EXPECT_FALSE(isReadable(fd));
}

TEST(MailboxDescriptor, IsReadableForIndications) {
    const OwnMailbox mailbox("here");
    const int fd = itc_get_fd();
    locateAsync("here");
    EXPECT_TRUE(isReadable(fd));
    EXPECT_EQ(msgNoOf(receive()), kFoundMsgNo);
    EXPECT_FALSE(isReadable(fd));
    monitor(mailbox.id() + 1);
    EXPECT_TRUE(isReadable(fd));
    EXPECT_EQ(msgNoOf(receive()), kGoneMsgNo);
    EXPECT_FALSE(isReadable(fd));
}

TEST(MailboxDescriptor, CanBeNestedInAnEpollSet) {
    const OwnMailbox mailbox;
    const int epoll = epoll_create1(EPOLL_CLOEXEC);
    epoll_event event = {};
    event.events = EPOLLIN;
    ASSERT_EQ(epoll_ctl(epoll, EPOLL_CTL_ADD, itc_get_fd(), &event), 0);
    std::thread other([&mailbox] { sendNumber(mailbox.id(), 1); });
    EXPECT_EQ(epoll_wait(epoll, &event, 1, static_cast<int>(kLong)), 1);
    other.join();
    EXPECT_EQ(nextNumber(), 1U);
    EXPECT_EQ(epoll_wait(epoll, &event, 1, 0), 0);
    close(epoll);
}

TEST(MailboxDescriptor, IsNotInheritedByWhatTheProcessExecutes) {
    const OwnMailbox mailbox;
    sendNumber(mailbox.id(), 1);
    ChildProcess other([](Channel&) {
        execl("/bin/sh", "sh", "-c", "ls -l /proc/self/fd | grep -c -e bell -e eventpoll -e life",
              static_cast<char*>(nullptr));
        return static_cast<int>(kDidNotExec);
    });
    EXPECT_EQ(other.wait(), 1);  // grep has found none
}

// Each round, all senders send once and wait until the receiver has seen everything: a wake-up that
// is lost stops the test. `takeOne` decides how the receiver gets at its messages.
void exchange(const OwnMailbox& mailbox, const std::function<Message()>& takeOne) {
    constexpr std::uint32_t kRounds = 2000;
    constexpr std::uint32_t kProcesses = 2;
    constexpr std::uint32_t kThreads = 2;
    const auto sendOnePerRound = [&mailbox] {
        const OwnMailbox own;
        for (std::uint32_t round = 0; round < kRounds; ++round) {
            sendNumber(mailbox.id(), round);
            if (receive() == nullptr) {
                return false;
            }
        }
        return true;
    };
    const auto body = [&](Channel&) {
        CHILD_CHECK(sendOnePerRound());
        return kDone;
    };
    ChildProcess first(body);
    ChildProcess second(body);
    std::vector<std::thread> threads;
    for (std::uint32_t thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&] { EXPECT_TRUE(sendOnePerRound()); });
    }
    for (std::uint32_t round = 0; round < kRounds; ++round) {
        std::vector<itc_mbox_id_t> senders;
        for (std::uint32_t count = 0; count < kProcesses + kThreads; ++count) {
            const Message message = takeOne();
            ASSERT_EQ(numberOf(message), round);
            senders.push_back(senderOf(message));
        }
        for (const itc_mbox_id_t sender : senders) {
            sendNumber(sender, round);
        }
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(first.wait(), kDone);
    EXPECT_EQ(second.wait(), kDone);
    EXPECT_EQ(receive(ITC_NO_WAIT), nullptr);
    EXPECT_FALSE(isReadable(itc_get_fd()));
}

TEST(MailboxDescriptor, MissesNoWakeUpOfManySendersWhenPolled) {
    const OwnMailbox mailbox;
    exchange(mailbox, [] {
        for (;;) {
            if (!becomesReadable(itc_get_fd())) {
                return Message();
            }
            if (Message message = receive(ITC_NO_WAIT); message != nullptr) {
                return message;
            }
        }
    });
}

TEST(MailboxDescriptor, MissesNoWakeUpOfManySendersWhenWaitedFor) {
    const OwnMailbox mailbox;
    exchange(mailbox, [] { return receive(); });
}

TEST(MailboxDescriptor, MissesNoWakeUpWhenAFilterLeavesMessagesBehind) {
    const OwnMailbox mailbox;
    sendNumber(mailbox.id(), 77, kOtherMsgNo);
    const std::function<Message()> takeOne = [] {
        for (;;) {
            if (!becomesReadable(itc_get_fd())) {
                return Message();
            }
            if (Message message = receiveOnly({kMsgNo}); message != nullptr) {
                return message;
            }
        }
    };
    std::thread other([&mailbox] {
        const OwnMailbox own;
        for (std::uint32_t round = 0; round < 2000; ++round) {
            sendNumber(mailbox.id(), round);
            ASSERT_NE(receive(), nullptr);
        }
    });
    for (std::uint32_t round = 0; round < 2000; ++round) {
        const Message message = takeOne();
        ASSERT_EQ(numberOf(message), round);
        EXPECT_TRUE(isReadable(itc_get_fd()));
        sendNumber(senderOf(message), round);
    }
    other.join();
    EXPECT_EQ(queuedNumbers(), std::vector<std::uint32_t>{77});
}

}  // namespace
