#include "itcFixture.h"

#include <gtest/gtest.h>

#include <cstdint>

using namespace ItcTest;

namespace {

TEST(Message, HasItsNumberAndSizeFromTheStart) {
    const Message message(itc_alloc(100, kMsgNo));
    EXPECT_EQ(message->msgno, kMsgNo);
    EXPECT_EQ(itc_size(message.get()), 100U);
}

TEST(Message, CanBeAsSmallAsItsNumber) {
    const Message message(itc_alloc(4, kMsgNo));
    ASSERT_NE(message, nullptr);
    EXPECT_EQ(itc_size(message.get()), 4U);
    EXPECT_EQ(message->msgno, kMsgNo);
}

TEST(Message, CanBeAsLargeAsTheMaximumAndWritten) {
    const Message message(itc_alloc(itc_get_max_size(), kMsgNo));
    ASSERT_NE(message, nullptr);
    fillPayload(message.get(), 3);
    EXPECT_TRUE(hasPayload(message.get(), itc_get_max_size(), 3));
}

TEST(Message, OfAnySizeOutsideThatIsRefused) {
    for (const std::uint32_t size :
         {0U, 1U, 3U, itc_get_max_size() + 1, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
        EXPECT_EQ(itc_alloc(size, kMsgNo), nullptr);
        EXPECT_EQ(std::string(itc_error_text()),
                  "a message can't have " + std::to_string(size) + " bytes");
    }
}

TEST(Message, MaximumIsAtLeastAMegabyte) {
    EXPECT_GE(itc_get_max_size(), 1U << 20);
}

TEST(Message, ThatWasNeverSentHasNoSender) {
    const Message message(itc_alloc(4, kMsgNo));
    EXPECT_EQ(itc_sender(message.get()), ITC_NO_MAILBOX);
}

TEST(Message, IsNullOnceItIsFreed) {
    itc_msg* message = itc_alloc(4, kMsgNo);
    itc_free(&message);
    EXPECT_EQ(message, nullptr);
    itc_free(&message);
    EXPECT_EQ(message, nullptr);
}

TEST(Message, BeginsWhereAnyTypeMayBegin) {
    for (const std::uint32_t size : {4U, 5U, 100U, 5000U, 100'000U}) {
        const Message message(itc_alloc(size, kMsgNo));
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(message.get()) % alignof(std::max_align_t), 0U);
    }
}

TEST(Message, NeedsNoMailboxAndNoDomain) {
    setenv("ITC_DOMAIN", "/nowhere/at/all", 1);
    itc_msg* message = itc_alloc(4, kMsgNo);
    EXPECT_NE(message, nullptr);
    itc_free(&message);
    message = itc_alloc(4, kMsgNo);
    itc_send(&message, 0x00100000, ITC_OWN_MAILBOX);
    EXPECT_EQ(message, nullptr);
}

}  // namespace
