#include "itcFixture.h"

#include <gtest/gtest.h>

#include <vector>

using namespace ItcTest;

namespace {

class HighMark : public testing::Test {
protected:
    void set(std::uint64_t messages) {
        const auto note = [](itc_mbox_id_t mailbox, std::uint64_t queued, void* context) {
            auto& test = *static_cast<HighMark*>(context);
            EXPECT_EQ(mailbox, test.mine_.id());
            test.told_.push_back(queued);
        };
        ASSERT_TRUE(itc_set_high_mark(messages, note, this));
    }
    void send(std::uint32_t count) {
        for (std::uint32_t number = 0; number < count; ++number) {
            sendNumber(mine_.id(), number);
        }
    }
    void receiveSome(std::uint32_t count) {
        for (std::uint32_t number = 0; number < count; ++number) {
            receive();
        }
    }

    const OwnMailbox mine_;
    std::vector<std::uint64_t> told_;
};

using Told = std::vector<std::uint64_t>;

TEST_F(HighMark, TellsOnceWhenSoManyMessagesWait) {
    set(10);
    send(11);
    receiveSome(1);
    EXPECT_EQ(told_, Told{10});
    receiveSome(1);
    EXPECT_EQ(told_, Told{10});
}

TEST_F(HighMark, IsSilentBelow) {
    set(10);
    send(10);
    receiveSome(10);
    EXPECT_EQ(told_, Told());
}

TEST_F(HighMark, TellsAgainAfterTheBacklogHasGoneDownByHalf) {
    set(4);
    for (int round = 0; round < 2; ++round) {
        send(6);
        receiveSome(6);
    }
    EXPECT_EQ(told_, (Told{5, 5}));
}

TEST_F(HighMark, CanBeEnded) {
    set(2);
    set(0);
    send(5);
    receiveSome(5);
    ASSERT_TRUE(itc_set_high_mark(2, nullptr, nullptr));
    send(5);
    receiveSome(5);
    EXPECT_EQ(told_, Told());
}

TEST_F(HighMark, EndsWithTheMailbox) {
    set(2);
    itc_delete_mailbox(mine_.id());
    const OwnMailbox next;
    for (std::uint32_t number = 0; number < 5; ++number) {
        sendNumber(next.id(), number);
    }
    receiveSome(5);
    EXPECT_EQ(told_, Told());
}

TEST_F(HighMark, MayUseTheMailboxInItsCallback) {
    const auto receiveAll = [](itc_mbox_id_t, std::uint64_t queued, void* context) {
        EXPECT_EQ(queuedNumbers().size(), queued);
        ++*static_cast<int*>(context);
    };
    int calls = 0;
    ASSERT_TRUE(itc_set_high_mark(3, receiveAll, &calls));
    send(5);
    EXPECT_EQ(nextNumber(), 0U);
    EXPECT_EQ(nextNumber(), kNoNumber);
    EXPECT_EQ(calls, 1);
}

TEST(HighMarkOfAThreadWithoutAMailbox, IsRefused) {
    EXPECT_FALSE(itc_set_high_mark(1, nullptr, nullptr));
    EXPECT_STREQ(itc_error_text(), "the thread has no mailbox");
}

}  // namespace
