#include "itcFixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <future>
#include <thread>

using namespace ItcTest;

namespace {

// A thread with a mailbox, which does what it is told by messages.
class OtherThread {
public:
    OtherThread() {
        std::promise<itc_mbox_id_t> created;
        thread_ = std::thread([&created] {
            const itc_mbox_id_t id = itc_create_mailbox("other thread", 0);
            created.set_value(id);
            // kMsgNo: send that many numbers back. kOtherMsgNo: delete. Anything else: end.
            for (;;) {
                const Message told = receive(ITC_WAIT_FOREVER);
                if (msgNoOf(told) == kOtherMsgNo) {
                    itc_delete_mailbox(id);
                }
                if (msgNoOf(told) != kMsgNo) {
                    return;
                }
                for (std::uint32_t number = 0; number < numberOf(told); ++number) {
                    sendNumber(senderOf(told), number);
                }
            }
        });
        id_ = created.get_future().get();
    }
    ~OtherThread() {
        if (thread_.joinable()) {
            end();
        }
    }
    itc_mbox_id_t id() const { return id_; }
    void sendBack(std::uint32_t count) { sendNumber(id_, count, kMsgNo); }
    void deleteMailbox() {
        sendNumber(id_, 0, kOtherMsgNo);
        thread_.join();
    }
    void end() {
        sendNumber(id_, 0, kThirdMsgNo);
        thread_.join();
    }

private:
    std::thread thread_;
    itc_mbox_id_t id_ = ITC_NO_MAILBOX;
};

TEST(Monitor, SaysNothingWhileTheMailboxLives) {
    const OwnMailbox mine;
    OtherThread other;
    EXPECT_NE(monitor(other.id()), ITC_NO_MAILBOX);
    EXPECT_EQ(receive(ITC_NO_WAIT), nullptr);
    EXPECT_FALSE(isReadable(itc_get_fd()));
}

TEST(Monitor, TellsOfTheDeletionOnce) {
    const OwnMailbox mine;
    OtherThread other;
    monitor(other.id(), 5);
    other.deleteMailbox();
    const Message gone = receive(ITC_NO_WAIT);
    EXPECT_EQ(msgNoOf(gone), kGoneMsgNo);
    EXPECT_EQ(numberOf(gone), 5U);
    EXPECT_EQ(senderOf(gone), other.id());
    EXPECT_EQ(receive(ITC_NO_WAIT), nullptr);
}

TEST(Monitor, TellsOfTheEndOfTheThread) {
    const OwnMailbox mine;
    OtherThread other;
    monitor(other.id());
    other.end();
    EXPECT_EQ(senderOf(receive(ITC_NO_WAIT)), other.id());
}

TEST(Monitor, ComesAfterAllMessagesOfTheMailbox) {
    const OwnMailbox mine;
    OtherThread other;
    monitor(other.id(), 1000);
    other.sendBack(1000);
    other.deleteMailbox();
    for (std::uint32_t number = 0; number <= 1000; ++number) {
        ASSERT_EQ(nextNumber(), number);
    }
}

TEST(Monitor, OfAMailboxThatIsGoneAnswersAtOnce) {
    const OwnMailbox mine;
    OtherThread other;
    other.end();
    EXPECT_NE(monitor(other.id(), 6), ITC_NO_MAILBOX);
    const Message gone = receive(ITC_NO_WAIT);
    EXPECT_EQ(numberOf(gone), 6U);
    EXPECT_EQ(senderOf(gone), other.id());
}

TEST(Monitor, OfAMailboxThatNeverWasAnswersAtOnce) {
    const OwnMailbox mine;
    for (const itc_mbox_id_t never :
         {mine.id() + 1, mine.id() + 20'000, 0x00700001U, 0xFFE00001U, 0U, ITC_NO_MAILBOX}) {
        EXPECT_NE(monitor(never), ITC_NO_MAILBOX);
        EXPECT_EQ(senderOf(receive(ITC_NO_WAIT)), never);
    }
}

TEST(Monitor, OfOneMailboxCanBeThereSeveralTimes) {
    const OwnMailbox mine;
    OtherThread other;
    const itc_monitor_id_t first = monitor(other.id(), 1);
    const itc_monitor_id_t second = monitor(other.id(), 2);
    const itc_monitor_id_t third = monitor(other.id(), 3);
    EXPECT_NE(first, second);
    EXPECT_NE(second, third);
    other.end();
    std::vector<std::uint32_t> numbers = queuedNumbers();
    std::sort(numbers.begin(), numbers.end());
    EXPECT_EQ(numbers, (std::vector<std::uint32_t>{1, 2, 3}));
}

TEST(Monitor, CanBeThereInSeveralMailboxes) {
    OtherThread other;
    std::vector<std::thread> threads;
    std::atomic<int> watching{0};
    for (int thread = 0; thread < 5; ++thread) {
        threads.emplace_back([&other, &watching] {
            const OwnMailbox its;
            monitor(other.id());
            ++watching;
            EXPECT_EQ(senderOf(receive()), other.id());
        });
    }
    while (watching < 5) {
        std::this_thread::yield();
    }
    const OwnMailbox mine;
    other.end();
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST(Monitor, ThatWasEndedSaysNothing) {
    const OwnMailbox mine;
    OtherThread other;
    const itc_monitor_id_t first = monitor(other.id(), 1);
    monitor(other.id(), 2);
    itc_unmonitor(first);
    itc_unmonitor(first);  // changes nothing
    other.end();
    EXPECT_EQ(queuedNumbers(), std::vector<std::uint32_t>{2});
}

TEST(Monitor, WhoseIndicationIsQueuedCanNotBeEnded) {
    const OwnMailbox mine;
    const itc_monitor_id_t id = monitor(mine.id() + 1, 4);
    itc_unmonitor(id);
    EXPECT_EQ(queuedNumbers(), std::vector<std::uint32_t>{4});
    itc_unmonitor(id);
}

TEST(Monitor, CanOnlyBeEndedByItsOwnMailbox) {
    const OwnMailbox mine;
    OtherThread other;
    const itc_monitor_id_t id = monitor(other.id());
    std::thread([id] {
        itc_unmonitor(id);
        const OwnMailbox its;
        itc_unmonitor(id);
    }).join();
    itc_unmonitor(id + 1000);
    other.end();
    EXPECT_EQ(senderOf(receive(ITC_NO_WAIT)), other.id());
}

TEST(Monitor, OfTheOwnMailboxEndsWithIt) {
    {
        const OwnMailbox mine;
        EXPECT_NE(monitor(mine.id()), ITC_NO_MAILBOX);
        EXPECT_EQ(receive(ITC_NO_WAIT), nullptr);
    }
    const OwnMailbox next;
    EXPECT_EQ(receive(ITC_NO_WAIT), nullptr);
}

TEST(Monitor, EndsWithTheMailboxThatHasIt) {
    OtherThread other;
    {
        const OwnMailbox mine;
        monitor(other.id());
    }
    const OwnMailbox next;
    other.end();
    EXPECT_EQ(receive(ITC_NO_WAIT), nullptr);
}

TEST(Monitor, WithoutAMailboxIsRefusedAndItsMessageFreed) {
    itc_msg* message = newNumber(kGoneMsgNo, 1);
    EXPECT_EQ(itc_monitor(0x00100001, &message), ITC_NO_MAILBOX);
    EXPECT_EQ(message, nullptr);
}

TEST(Monitor, WithoutAMessageIsRefused) {
    const OwnMailbox mine;
    itc_msg* message = nullptr;
    EXPECT_EQ(itc_monitor(mine.id() + 1, &message), ITC_NO_MAILBOX);
    EXPECT_STRNE(itc_error_text(), "");
    EXPECT_EQ(receive(ITC_NO_WAIT), nullptr);
}

// The end of the mailbox meets the beginning of the monitor.
TEST(Monitor, TellsOfAMailboxThatEndsAtTheSameTime) {
    const OwnMailbox mine;
    for (std::uint32_t round = 0; round < 300; ++round) {
        std::promise<itc_mbox_id_t> created;
        std::thread other([&created] { created.set_value(itc_create_mailbox(nullptr, 0)); });
        const itc_mbox_id_t id = created.get_future().get();
        monitor(id, round);
        const Message gone = receive();
        ASSERT_EQ(numberOf(gone), round);
        ASSERT_EQ(senderOf(gone), id);
        other.join();
    }
}

}  // namespace
