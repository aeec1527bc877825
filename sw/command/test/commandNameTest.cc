#include "commandName.h"

#include <gtest/gtest.h>

namespace {

using namespace Quoria::Command::Backend;

TEST(CommandName, IsServedAtAMailboxNameOfTheSameBytes) {
    EXPECT_EQ(mailboxNameOf("status"), "RCI:status");
    EXPECT_EQ(mailboxNameOf(""), "RCI:");
    EXPECT_EQ(mailboxNameOf("a b/\xFF"), "RCI:a b/\xFF");
}

TEST(MailboxName, IsUpTo255BytesLong) {
    EXPECT_TRUE(isMailboxName(std::string(255, 'x')));
    EXPECT_FALSE(isMailboxName(std::string(256, 'x')));
    EXPECT_FALSE(isMailboxName(""));
}

TEST(MailboxName, CountsSomeCharactersAsThree) {
    for (const char c : {'/', '%', ' ', '\n', '\x7F'}) {
        EXPECT_TRUE(isMailboxName(std::string(85, c))) << static_cast<int>(c);
        EXPECT_FALSE(isMailboxName(std::string(86, c))) << static_cast<int>(c);
    }
}

TEST(MailboxName, CountsAFullStopAsThreeAtItsBeginningOnly) {
    EXPECT_TRUE(isMailboxName("." + std::string(252, 'x')));
    EXPECT_FALSE(isMailboxName("." + std::string(253, 'x')));
    EXPECT_TRUE(isMailboxName("x" + std::string(254, '.')));
}

TEST(MailboxName, CountsBytesAbove7FAsOne) {
    EXPECT_TRUE(isMailboxName(std::string(255, '\xFF')));
}

TEST(MailboxName, HoldsNoNul) {
    EXPECT_FALSE(isMailboxName(std::string("a\0b", 3)));
}

}  // namespace
