#include "childProcess.h"
#include "itcFixture.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <pthread.h>
#include <unistd.h>

using namespace ItcTest;

namespace {

struct Listed {
    std::uint32_t slot;
    pid_t pid;
    std::string name;
    std::uint32_t mailboxes;
    std::uint64_t inboxBytes;
    std::uint32_t undelivered;
};

std::vector<Listed> listAll() {
    std::vector<Listed> all;
    const auto visit = [](const itc_process_info* info, void* context) {
        static_cast<std::vector<Listed>*>(context)->push_back(
            {info->slot, info->pid, info->process_name, info->mailboxes, info->inbox_bytes,
             info->undelivered});
        return true;
    };
    const int visited = itc_list_processes(visit, &all);
    EXPECT_EQ(visited, static_cast<int>(all.size()));
    return all;
}

Listed thisProcess() {
    for (const Listed& listed : listAll()) {
        if (listed.pid == getpid()) {
            return listed;
        }
    }
    ADD_FAILURE() << "not listed";
    return {};
}

TEST(ProcessList, IsEmptyInANewDomain) {
    EXPECT_TRUE(listAll().empty());
}

TEST(ProcessList, TellsAllAboutAProcess) {
    ASSERT_EQ(pthread_setname_np(pthread_self(), "some process"), 0);
    const OwnMailbox mine;
    const std::vector<Listed> all = listAll();
    ASSERT_EQ(all.size(), 1U);
    EXPECT_EQ(all[0].slot, mine.id() >> 20);
    EXPECT_EQ(all[0].pid, getpid());
    EXPECT_EQ(all[0].name, "some process");
    EXPECT_EQ(all[0].mailboxes, 1U);
    EXPECT_GT(all[0].inboxBytes, 0U);
    EXPECT_EQ(all[0].undelivered, 0U);
}

TEST(ProcessList, IsInTheOrderOfTheSlotsAndWithoutTheDead) {
    const OwnMailbox mine;
    const auto join = [](Channel& test) {
        const OwnMailbox its;
        test.put(0);
        test.get();
        return kDone;
    };
    ChildProcess first(join);
    ChildProcess second(join);
    first.get();
    second.get();
    const std::vector<Listed> all = listAll();
    ASSERT_EQ(all.size(), 3U);
    EXPECT_LT(all[0].slot, all[1].slot);
    EXPECT_LT(all[1].slot, all[2].slot);
    first.kill();
    EXPECT_EQ(listAll().size(), 2U);
}

TEST(ProcessList, EndsWhenTheVisitorHasSeenEnough) {
    const OwnMailbox mine;
    ChildProcess other([](Channel& test) {
        const OwnMailbox its;
        test.put(0);
        test.get();
        return kDone;
    });
    other.get();
    EXPECT_EQ(itc_list_processes([](const itc_process_info*, void*) { return false; }, nullptr), 1);
}

TEST(ProcessList, TellsTheMemoryOfABacklog) {
    const OwnMailbox mine;
    const std::uint64_t before = thisProcess().inboxBytes;
    ChildProcess other([&mine](Channel&) {
        for (int count = 0; count < 10; ++count) {
            itc_msg* message = itc_alloc(1'000'000, kMsgNo);
            fillPayload(message, 1);
            itc_send(&message, mine.id(), ITC_OWN_MAILBOX);
        }
        return kDone;
    });
    EXPECT_EQ(other.wait(), kDone);
    EXPECT_GT(thisProcess().inboxBytes, before + 10'000'000);
}

TEST(ProcessList, CountsMessagesThatNobodyReceives) {
    const OwnMailbox mine;
    ChildProcess other([](Channel& test) {
        const OwnMailbox its;
        test.put(its.id());
        test.get();
        return kDone;
    });
    const itc_mbox_id_t others = other.get();
    sendNumber(others, 0);
    EXPECT_EQ(thisProcess().undelivered, 0U);
    other.kill();
    listAll();  // now its death has been noticed
    sendNumber(others, 1);
    sendNumber(mine.id() + 1, 2);
    sendNumber(ITC_NO_MAILBOX, 3);
    EXPECT_EQ(thisProcess().undelivered, 3U);
}

TEST(ProcessList, CountsWhatADeletedMailboxStillHeld) {
    const OwnMailbox mine;
    sendNumber(mine.id(), 0);
    sendNumber(mine.id(), 1);
    itc_delete_mailbox(mine.id());
    EXPECT_EQ(thisProcess().undelivered, 2U);
}

}  // namespace
