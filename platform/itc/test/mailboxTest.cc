#include "itcFixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <future>
#include <set>
#include <thread>

#include <pthread.h>
#include <sys/resource.h>

using namespace ItcTest;

namespace {

TEST(Mailbox, CreationReturnsTheIdThatTheThreadHasFromThenOn) {
    const itc_mbox_id_t id = itc_create_mailbox("one", 0);
    EXPECT_NE(id, ITC_NO_MAILBOX);
    EXPECT_EQ(itc_current_mbox(), id);
    EXPECT_GE(itc_get_fd(), 0);
}

TEST(Mailbox, AThreadThatMadeNoneHasNone) {
    EXPECT_EQ(itc_current_mbox(), ITC_NO_MAILBOX);
    EXPECT_EQ(itc_get_fd(), -1);
    EXPECT_EQ(receive(ITC_WAIT_FOREVER), nullptr);
    EXPECT_STREQ(itc_error_text(), "the thread has no mailbox");
}

TEST(Mailbox, ASecondOneOfAThreadIsRefusedAndTheFirstStays) {
    const OwnMailbox first("first");
    EXPECT_EQ(itc_create_mailbox("second", 0), ITC_NO_MAILBOX);
    EXPECT_STREQ(itc_error_text(), "the thread has a mailbox already");
    EXPECT_EQ(itc_current_mbox(), first.id());
    EXPECT_EQ(itc_locate("first"), first.id());
    EXPECT_EQ(itc_locate("second"), ITC_NO_MAILBOX);
}

TEST(Mailbox, FlagsThatNobodyKnowsAreRefused) {
    EXPECT_EQ(itc_create_mailbox("flags", 1), ITC_NO_MAILBOX);
    EXPECT_STREQ(itc_error_text(), "flags of a mailbox must be 0");
    EXPECT_EQ(itc_current_mbox(), ITC_NO_MAILBOX);
}

TEST(Mailbox, EachThreadHasOneOfItsOwn) {
    const OwnMailbox mine;
    const auto other = std::async(std::launch::async, [] {
                           EXPECT_EQ(itc_current_mbox(), ITC_NO_MAILBOX);
                           const OwnMailbox its;
                           EXPECT_EQ(itc_current_mbox(), its.id());
                           return its.id();
                       }).get();
    EXPECT_NE(other, ITC_NO_MAILBOX);
    EXPECT_NE(other, mine.id());
    EXPECT_EQ(itc_current_mbox(), mine.id());
}

TEST(Mailbox, OnceDeletedTheThreadHasNone) {
    const itc_mbox_id_t id = itc_create_mailbox(nullptr, 0);
    itc_delete_mailbox(id);
    EXPECT_EQ(itc_current_mbox(), ITC_NO_MAILBOX);
    EXPECT_EQ(itc_get_fd(), -1);
    itc_delete_mailbox(id);  // changes nothing
    EXPECT_EQ(itc_current_mbox(), ITC_NO_MAILBOX);
}

TEST(Mailbox, OnlyItsOwnThreadCanDeleteIt) {
    const OwnMailbox mine("mine");
    std::thread([&mine] {
        itc_delete_mailbox(mine.id());
        EXPECT_STREQ(itc_error_text(), "the mailbox is not the calling thread's");
    }).join();
    itc_delete_mailbox(ITC_NO_MAILBOX);
    itc_delete_mailbox(0);
    itc_delete_mailbox(mine.id() + 1);
    EXPECT_EQ(itc_current_mbox(), mine.id());
    EXPECT_EQ(itc_locate("mine"), mine.id());
}

TEST(Mailbox, IdsAreNotSoonReusedAndNeverSpecial) {
    std::set<itc_mbox_id_t> ids;
    for (int round = 0; round < 2000; ++round) {
        const OwnMailbox mailbox;
        EXPECT_TRUE(ids.insert(mailbox.id()).second);
    }
    for (const itc_mbox_id_t special : {ITC_NO_MAILBOX, ITC_OWN_MAILBOX, ITC_ANY_SENDER, 0U}) {
        EXPECT_EQ(ids.count(special), 0U);
    }
}

TEST(Mailbox, TheNextOneOfTheThreadHasNothingOfTheOneBefore) {
    const itc_mbox_id_t before = itc_create_mailbox("before", 0);
    sendNumber(before, 1);
    monitor(before);
    locateAsync("after");
    itc_delete_mailbox(before);

    const OwnMailbox after("after");
    EXPECT_NE(after.id(), before);
    EXPECT_EQ(receive(ITC_NO_WAIT), nullptr);
    EXPECT_FALSE(isReadable(itc_get_fd()));
    EXPECT_EQ(itc_locate("before"), ITC_NO_MAILBOX);
    sendNumber(before, 2);
    EXPECT_EQ(receive(ITC_NO_WAIT), nullptr);
}

TEST(Mailbox, EndsWithItsThread) {
    const OwnMailbox mine;
    std::thread([] { itc_create_mailbox("thread's", 0); }).join();
    EXPECT_EQ(itc_locate("thread's"), ITC_NO_MAILBOX);
}

TEST(Mailbox, IsStillThereInTheOtherDestructorsOfItsThread) {
    static pthread_key_t key;
    const OwnMailbox mine;
    const itc_mbox_id_t id = mine.id();
    ASSERT_EQ(pthread_key_create(&key,
                                 [](void* receiver) {
                                     sendNumber(*static_cast<const itc_mbox_id_t*>(receiver), 7);
                                 }),
              0);
    itc_mbox_id_t its = ITC_NO_MAILBOX;
    std::thread([&] {
        its = itc_create_mailbox(nullptr, 0);
        EXPECT_EQ(pthread_setspecific(key, &id), 0);
    }).join();
    const Message last = receive();
    EXPECT_EQ(numberOf(last), 7U);
    EXPECT_EQ(senderOf(last), its);
}

TEST(Mailbox, ManyCanBeThereAtOnce) {
    constexpr std::uint32_t kThreads = 100;
    const OwnMailbox mine;
    std::vector<std::thread> threads;
    for (std::uint32_t number = 0; number < kThreads; ++number) {
        threads.emplace_back([&mine, number] {
            const OwnMailbox its;
            sendNumber(mine.id(), number);
            receive();
        });
    }
    std::set<itc_mbox_id_t> senders;
    for (std::uint32_t number = 0; number < kThreads; ++number) {
        senders.insert(senderOf(receive()));
    }
    EXPECT_EQ(senders.size(), kThreads);
    EXPECT_EQ(senders.count(ITC_NO_MAILBOX), 0U);
    for (const itc_mbox_id_t sender : senders) {
        sendNumber(sender, 0);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

// At every point at which the process can run out of descriptors.
TEST(Mailbox, WithoutDescriptorsNoneIsMadeAndNoneLeaks) {
    rlimit limit = {};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    const rlim_t usual = limit.rlim_cur;
    const std::size_t before = openDescriptors();
    bool made = false;
    for (rlim_t more = 0; !made && more < 50; ++more) {
        limit.rlim_cur = static_cast<rlim_t>(before) - 1 + more;
        ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
        const itc_mbox_id_t id = itc_create_mailbox("scarce", 0);
        const std::string error = itc_error_text();
        limit.rlim_cur = usual;
        ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
        made = id != ITC_NO_MAILBOX;
        if (!made) {
            EXPECT_NE(error.find("Too many open files"), std::string::npos) << error;
            EXPECT_EQ(itc_locate("scarce"), ITC_NO_MAILBOX);
        }
    }
    EXPECT_TRUE(made);
    EXPECT_EQ(itc_locate("scarce"), itc_current_mbox());
    sendNumber(itc_current_mbox(), 5);
    EXPECT_EQ(nextNumber(), 5U);
    itc_delete_mailbox(itc_current_mbox());
    // The domain, its control file and its names, the process's life and inbox, and a mailbox in
    // reserve.
    EXPECT_LE(openDescriptors(), before + 7);
}

}  // namespace
