#include "childProcess.h"
#include "itcFixture.h"

#include <gtest/gtest.h>

#include <cstring>
#include <future>
#include <thread>

using namespace ItcTest;

namespace {

std::string nameOf(itc_mbox_id_t mailbox, std::uint32_t size = 1024) {
    std::string buffer(size, '?');
    if (!itc_get_name(mailbox, buffer.data(), size)) {
        return "(none)";
    }
    return buffer.c_str();
}

TEST(MailboxName, NullAndEmptyGiveAMailboxWithoutName) {
    for (const char* name : {static_cast<const char*>(nullptr), ""}) {
        const OwnMailbox mailbox(name);
        EXPECT_NE(mailbox.id(), ITC_NO_MAILBOX);
        EXPECT_EQ(nameOf(mailbox.id()), "(none)");
        EXPECT_EQ(itc_locate(""), ITC_NO_MAILBOX);
        EXPECT_EQ(itc_locate(nullptr), ITC_NO_MAILBOX);
    }
}

TEST(MailboxName, MayHaveTwoHundredAndFiftyFiveBytes) {
    const std::string longest(255, 'n');
    const OwnMailbox mailbox(longest.c_str());
    EXPECT_NE(mailbox.id(), ITC_NO_MAILBOX);
    EXPECT_EQ(itc_locate(longest.c_str()), mailbox.id());
    EXPECT_EQ(nameOf(mailbox.id()), longest);
}

TEST(MailboxName, OfMoreBytesIsRefusedAndLeavesNoMailbox) {
    for (const std::size_t length : {256U, 300U, 100'000U}) {
        const std::string name(length, 'n');
        EXPECT_EQ(itc_create_mailbox(name.c_str(), 0), ITC_NO_MAILBOX);
        EXPECT_NE(std::string(itc_error_text()).find("longer than 255 bytes"), std::string::npos);
        EXPECT_EQ(itc_current_mbox(), ITC_NO_MAILBOX);
        EXPECT_EQ(itc_locate(name.c_str()), ITC_NO_MAILBOX);
    }
}

TEST(MailboxName, CountsThreeForEachByteThatAPathCannotHave) {
    const std::string fits(85, '/');
    const OwnMailbox mailbox(fits.c_str());
    EXPECT_EQ(itc_locate(fits.c_str()), mailbox.id());
    EXPECT_FALSE(itc_add_name(mailbox.id(), std::string(86, '/').c_str()));
}

class MailboxNameOf : public testing::TestWithParam<const char*> {};

TEST_P(MailboxNameOf, UnusualBytesIsKeptAsItIs) {
    const OwnMailbox mailbox(GetParam());
    ASSERT_NE(mailbox.id(), ITC_NO_MAILBOX) << itc_error_text();
    EXPECT_EQ(itc_locate(GetParam()), mailbox.id());
    EXPECT_EQ(nameOf(mailbox.id()), GetParam());
    ChildProcess other([&mailbox](Channel&) {
        CHILD_CHECK(itc_locate(GetParam()) == mailbox.id());
        CHILD_CHECK(nameOf(mailbox.id()) == GetParam());
        return kDone;
    });
    EXPECT_EQ(other.wait(), kDone);
}

INSTANTIATE_TEST_SUITE_P(, MailboxNameOf,
                         testing::Values("/", "a/b", "/etc/passwd", "%", "%2f", "100%", ".", "..",
                                         "../../x", ".hidden", "a..b",
                                         "Gr\xc3\xbc\xc3\x9f"
                                         "e",
                                         "\xe6\x97\xa5\xe6\x9c\xac", "\x01\x02\x1f\x7f", "\n",
                                         "with space", " ", "a:b*c?d\\e\"f'g", "RCI:command",
                                         "\xff\xfe"));

TEST(MailboxName, DiffersByCaseAndByEncoding) {
    const OwnMailbox mailbox("a/b");
    EXPECT_EQ(itc_locate("A/B"), ITC_NO_MAILBOX);
    EXPECT_EQ(itc_locate("a%2fb"), ITC_NO_MAILBOX);
    EXPECT_EQ(itc_locate("a"), ITC_NO_MAILBOX);
}

TEST(MailboxName, GivenTwiceToOneMailboxIsThereOnce) {
    itc_mbox_id_t id = ITC_NO_MAILBOX;
    {
        const OwnMailbox mailbox("twice");
        id = mailbox.id();
        EXPECT_TRUE(itc_add_name(id, "twice"));
        EXPECT_TRUE(itc_add_name(id, "twice"));
        EXPECT_EQ(itc_locate("twice"), id);
    }
    EXPECT_EQ(itc_locate("twice"), ITC_NO_MAILBOX);
}

TEST(MailboxName, MoreOfThemLeadToTheSameMailbox) {
    const OwnMailbox mailbox("first");
    EXPECT_TRUE(itc_add_name(mailbox.id(), "second"));
    EXPECT_TRUE(itc_add_name(mailbox.id(), "third"));
    for (const char* name : {"first", "second", "third"}) {
        EXPECT_EQ(itc_locate(name), mailbox.id());
    }
    EXPECT_EQ(nameOf(mailbox.id()), "first");
}

TEST(MailboxName, CanBeGivenToAMailboxThatHadNone) {
    const OwnMailbox mailbox;
    EXPECT_TRUE(itc_add_name(mailbox.id(), "late"));
    EXPECT_EQ(nameOf(mailbox.id()), "late");
}

TEST(MailboxName, IsNotGivenWhenItIsEmptyOrTheMailboxIsAnothers) {
    const OwnMailbox mailbox("mine");
    EXPECT_FALSE(itc_add_name(mailbox.id(), ""));
    EXPECT_STREQ(itc_error_text(), "a mailbox name is empty");
    EXPECT_FALSE(itc_add_name(mailbox.id(), nullptr));
    EXPECT_FALSE(itc_add_name(mailbox.id() + 1, "stolen"));
    EXPECT_FALSE(itc_add_name(ITC_NO_MAILBOX, "stolen"));
    std::thread([&mailbox] { EXPECT_FALSE(itc_add_name(mailbox.id(), "stolen")); }).join();
    EXPECT_EQ(itc_locate("stolen"), ITC_NO_MAILBOX);
}

TEST(MailboxName, IsCutToTheBufferThatItIsReadInto) {
    const OwnMailbox mailbox("abcdefgh");
    EXPECT_EQ(nameOf(mailbox.id(), 4), "abc");
    EXPECT_EQ(nameOf(mailbox.id(), 1), "");
    EXPECT_EQ(nameOf(mailbox.id(), 9), "abcdefgh");
    EXPECT_EQ(nameOf(mailbox.id(), 8), "abcdefg");
    char untouched = '?';
    EXPECT_FALSE(itc_get_name(mailbox.id(), &untouched, 0));
    EXPECT_EQ(untouched, '?');
}

TEST(MailboxName, OfAMailboxThatIsNotThereIsNotRead) {
    const OwnMailbox mine("mine");
    const auto gone = std::async(std::launch::async, [] { return OwnMailbox("gone").id(); }).get();
    char buffer[8] = "before";
    for (const itc_mbox_id_t id :
         {gone, mine.id() + 100, ITC_NO_MAILBOX, ITC_OWN_MAILBOX, 0U, 0x00500000U}) {
        EXPECT_FALSE(itc_get_name(id, buffer, sizeof(buffer)));
        EXPECT_STREQ(buffer, "before");
    }
}

TEST(MailboxName, OfAnotherProcessCanBeReadUntilThatEnds) {
    const OwnMailbox mine;
    ChildProcess other([](Channel& test) {
        test.put(itc_create_mailbox("other's", 0));
        test.get();
        return kDone;
    });
    const itc_mbox_id_t its = other.get();
    EXPECT_EQ(nameOf(its), "other's");
    EXPECT_EQ(itc_locate("other's"), its);
    other.kill();
    EXPECT_EQ(nameOf(its), "(none)");
    EXPECT_EQ(itc_locate("other's"), ITC_NO_MAILBOX);
}

TEST(MailboxName, LeadsToTheOldestHolderAndThenToTheNextOne) {
    const OwnMailbox mine;
    const auto holdUntilTold = [](Channel& test) {
        test.put(itc_create_mailbox("popular", 0));
        test.get();
        itc_delete_mailbox(itc_current_mbox());
        test.put(0);
        test.get();
        return kDone;
    };
    ChildProcess first(holdUntilTold);
    const itc_mbox_id_t firstId = first.get();
    ChildProcess second(holdUntilTold);
    const itc_mbox_id_t secondId = second.get();
    EXPECT_TRUE(itc_add_name(mine.id(), "popular"));
    ChildProcess fourth(holdUntilTold);
    const itc_mbox_id_t fourthId = fourth.get();

    EXPECT_EQ(itc_locate("popular"), firstId);
    first.put(0);
    first.get();
    EXPECT_EQ(itc_locate("popular"), secondId);
    second.kill();
    EXPECT_EQ(itc_locate("popular"), mine.id());
    itc_delete_mailbox(mine.id());
    EXPECT_EQ(itc_locate("popular"), fourthId);
    fourth.kill();
    EXPECT_EQ(itc_locate("popular"), ITC_NO_MAILBOX);
}

TEST(MailboxName, IsFreeAtOnceWhenItsMailboxIsDeleted) {
    for (int round = 0; round < 100; ++round) {
        const OwnMailbox mailbox("again");
        ASSERT_NE(mailbox.id(), ITC_NO_MAILBOX);
        ASSERT_EQ(itc_locate("again"), mailbox.id());
    }
    EXPECT_EQ(itc_locate("again"), ITC_NO_MAILBOX);
    EXPECT_EQ(namesInDomain(), std::vector<std::string>());
}

// The folder of a name comes and goes with its holders; nobody may stumble over that.
TEST(MailboxName, CanBeTakenAndDroppedByManyAtOnce) {
    constexpr int kRounds = 300;
    const auto takeAndDrop = [] {
        for (int round = 0; round < kRounds; ++round) {
            const OwnMailbox mailbox("contended");
            if (mailbox.id() == ITC_NO_MAILBOX || itc_locate("contended") == ITC_NO_MAILBOX) {
                return false;
            }
        }
        return true;
    };
    ChildProcess other([&](Channel&) {
        CHILD_CHECK(takeAndDrop());
        return kDone;
    });
    auto second = std::async(std::launch::async, takeAndDrop);
    EXPECT_TRUE(takeAndDrop()) << itc_error_text();
    EXPECT_TRUE(second.get());
    EXPECT_EQ(other.wait(), kDone);
}

}  // namespace
