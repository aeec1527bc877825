#include "childProcess.h"
#include "itcFixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <thread>

#include <pthread.h>
#include <unistd.h>

using namespace ItcTest;

namespace {

struct Listed {
    itc_mbox_id_t id;
    pid_t pid;
    pid_t tid;
    std::string processName;
    std::string threadName;
    std::vector<std::string> names;
    std::uint64_t queued;
    std::uint64_t queuedBytes;
    std::uint64_t mostQueued;
    std::uint64_t age;
};

std::vector<Listed> listAll() {
    std::vector<Listed> all;
    const auto visit = [](const itc_mailbox_info* info, void* context) {
        static_cast<std::vector<Listed>*>(context)->push_back(
            {info->id, info->pid, info->tid, info->process_name, info->thread_name,
             std::vector<std::string>(info->names, info->names + info->name_count), info->queued,
             info->queued_bytes, info->most_queued, info->age_ms});
        return true;
    };
    const int visited = itc_list_mailboxes(visit, &all);
    EXPECT_EQ(visited, static_cast<int>(all.size()));
    return all;
}

Listed listedAs(itc_mbox_id_t mailbox) {
    for (const Listed& listed : listAll()) {
        if (listed.id == mailbox) {
            return listed;
        }
    }
    ADD_FAILURE() << "not listed";
    return {};
}

std::uint64_t queuedIn(itc_mbox_id_t mailbox) {
    return listedAs(mailbox).queued;
}

TEST(MailboxList, IsEmptyInANewDomainAndMakesNoMailbox) {
    EXPECT_TRUE(listAll().empty());
    EXPECT_EQ(itc_current_mbox(), ITC_NO_MAILBOX);
    EXPECT_EQ(tracesInDomain(), std::vector<std::string>());
}

TEST(MailboxList, TellsAllAboutAMailbox) {
    const OwnMailbox mine("first / name");
    itc_add_name(mine.id(), "second");
    itc_add_name(mine.id(), "third");
    ASSERT_EQ(pthread_setname_np(pthread_self(), "some thread"), 0);
    const std::vector<Listed> all = listAll();
    ASSERT_EQ(all.size(), 1U);
    EXPECT_EQ(all[0].id, mine.id());
    EXPECT_EQ(all[0].pid, getpid());
    EXPECT_EQ(all[0].tid, gettid());
    EXPECT_EQ(all[0].processName, "some thread");  // that of the main thread
    EXPECT_EQ(all[0].threadName, "some thread");
    EXPECT_EQ(all[0].names, (std::vector<std::string>{"first / name", "second", "third"}));
    EXPECT_EQ(all[0].queued, 0U);
}

TEST(MailboxList, HasNoNamesForAMailboxWithout) {
    const OwnMailbox mine;
    EXPECT_TRUE(listAll().at(0).names.empty());
}

TEST(MailboxList, TellsThreadsAndProcessesApartInOrderOfTheirIds) {
    ChildProcess other([](Channel& test) {
        std::thread([&test] {
            pthread_setname_np(pthread_self(), "thread of other");
            const OwnMailbox its("other's");
            test.put(its.id());
            test.get();
        }).join();
        return kDone;
    });
    const itc_mbox_id_t others = other.get();
    const OwnMailbox mine("mine");
    std::vector<Listed> all = listAll();
    ASSERT_EQ(all.size(), 2U);
    EXPECT_LT(all[0].id, all[1].id);
    const Listed& listed = all[0].id == others ? all[0] : all[1];
    EXPECT_EQ(listed.id, others);
    EXPECT_EQ(listed.pid, other.pid());
    EXPECT_NE(listed.tid, other.pid());
    EXPECT_EQ(listed.threadName, "thread of other");
    EXPECT_EQ(listed.names, std::vector<std::string>{"other's"});
}

TEST(MailboxList, CountsWhatIsQueued) {
    const OwnMailbox mine;
    ChildProcess other([&mine](Channel&) {
        for (std::uint32_t number = 0; number < 5; ++number) {
            sendNumber(mine.id(), number);
        }
        return kDone;
    });
    EXPECT_EQ(other.wait(), kDone);
    EXPECT_EQ(queuedIn(mine.id()), 5U);
    for (std::uint32_t number = 0; number < 3; ++number) {
        sendNumber(mine.id(), number, kOtherMsgNo);
    }
    EXPECT_EQ(queuedIn(mine.id()), 8U);
    receiveOnly({kOtherMsgNo});
    EXPECT_EQ(queuedIn(mine.id()), 7U);
    monitor(mine.id() + 1);
    EXPECT_EQ(queuedIn(mine.id()), 8U);
    queuedNumbers();
    EXPECT_EQ(queuedIn(mine.id()), 0U);
}

TEST(MailboxList, TellsTheBytesThatAreQueuedWhereverTheyLie) {
    const OwnMailbox mine;
    ChildProcess other([&mine](Channel&) {
        for (const std::uint32_t size : {100U, 1000U, 100'000U}) {
            itc_msg* message = itc_alloc(size, kMsgNo);
            itc_send(&message, mine.id(), ITC_OWN_MAILBOX);
        }
        return kDone;
    });
    EXPECT_EQ(other.wait(), kDone);
    EXPECT_EQ(listedAs(mine.id()).queuedBytes, 101'100U);
    sendNumber(mine.id(), 0);
    EXPECT_EQ(listedAs(mine.id()).queuedBytes, 101'100U + sizeof(NumberMsg));
    receive();
    EXPECT_EQ(listedAs(mine.id()).queuedBytes, 101'000U + sizeof(NumberMsg));
    queuedNumbers();
    EXPECT_EQ(listedAs(mine.id()).queuedBytes, 0U);
}

TEST(MailboxList, RemembersTheMostThatEverWaited) {
    const OwnMailbox mine;
    EXPECT_EQ(listedAs(mine.id()).mostQueued, 0U);
    for (const std::uint32_t burst : {3U, 7U, 5U}) {
        for (std::uint32_t number = 0; number < burst; ++number) {
            sendNumber(mine.id(), number);
        }
        queuedNumbers();
    }
    EXPECT_EQ(listedAs(mine.id()).mostQueued, 7U);
}

TEST(MailboxList, RemembersTheMostThatEverWaitedWhateverWasTakenInBetween) {
    const OwnMailbox mine;
    std::mt19937 random(1);
    std::uint64_t waiting = 0;
    std::uint64_t most = 0;
    for (std::uint32_t step = 0; step < 1000; ++step) {
        const bool sends = random() % 2 == 0;
        for (std::uint64_t count = random() % 20; count > 0; --count) {
            if (sends) {
                sendNumber(mine.id(), step);
                most = std::max(most, ++waiting);
            } else if (waiting > 0) {
                receive();
                --waiting;
            }
        }
        ASSERT_EQ(listedAs(mine.id()).mostQueued, most) << "after step " << step;
    }
}

TEST(MailboxList, RemembersTheMostAlsoOfThoseThatCameFromAnotherProcess) {
    const OwnMailbox mine;
    ChildProcess other([&mine](Channel& test) {
        for (;;) {
            for (std::uint32_t count = test.get(); count > 0; --count) {
                sendNumber(mine.id(), count);
            }
            test.put(0);
        }
        return kDone;
    });
    std::mt19937 random(1);
    std::uint64_t waiting = 0;
    std::uint64_t most = 0;
    for (std::uint32_t step = 0; step < 200; ++step) {
        const auto count = static_cast<std::uint32_t>(random() % 20);
        if (random() % 2 == 0) {
            other.put(count);
            other.get();
            EXPECT_EQ(receiveOnly({kOtherMsgNo}, ITC_NO_WAIT), nullptr);  // looks at all that came
        } else {
            for (std::uint32_t number = 0; number < count; ++number) {
                sendNumber(mine.id(), number);
            }
        }
        waiting += count;
        most = std::max(most, waiting);
        for (std::uint64_t taken = std::min<std::uint64_t>(waiting, 1 + random() % 20); taken > 0;
             --taken) {
            ASSERT_NE(receive(), nullptr);
            --waiting;
        }
        ASSERT_EQ(listedAs(mine.id()).mostQueued, most) << "after step " << step;
    }
}

TEST(MailboxList, BeginsAnewWithTheNextMailboxOfAThread) {
    itc_delete_mailbox(itc_create_mailbox(nullptr, 0));
    const OwnMailbox earlier;
    sendNumber(earlier.id(), 0);
    itc_delete_mailbox(earlier.id());
    const OwnMailbox mine;
    const Listed listed = listedAs(mine.id());
    EXPECT_EQ(listed.queuedBytes, 0U);
    EXPECT_EQ(listed.mostQueued, 0U);
}

TEST(MailboxList, TellsTheAge) {
    const OwnMailbox mine;
    const std::uint64_t age = listedAs(mine.id()).age;
    EXPECT_LT(age, kLong);
    while (listedAs(mine.id()).age == age) {
    }
    EXPECT_GT(listedAs(mine.id()).age, age);
}

TEST(MailboxList, CountsWellWhileManySend) {
    const OwnMailbox mine("here");
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 3; ++thread) {
        threads.emplace_back([&mine] {
            for (std::uint32_t number = 0; number < 5000; ++number) {
                sendNumber(mine.id(), number);
            }
        });
    }
    for (int round = 0; round < 5000; ++round) {
        locateAsync("here");  // is delivered by the receiver itself
        receive();
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    const std::size_t rest = queuedNumbers().size();
    EXPECT_EQ(rest, 15'000U);
    EXPECT_EQ(queuedIn(mine.id()), 0U);
}

TEST(MailboxList, EndsWhenTheVisitorHasSeenEnough) {
    const OwnMailbox mine;
    ChildProcess other([](Channel& test) {
        const OwnMailbox its;
        test.put(0);
        test.get();
        return kDone;
    });
    other.get();
    int calls = 0;
    const auto visitOnce = [](const itc_mailbox_info*, void* context) {
        return ++*static_cast<int*>(context) < 1;
    };
    EXPECT_EQ(itc_list_mailboxes(visitOnce, &calls), 1);
    EXPECT_EQ(calls, 1);
}

TEST(MailboxList, LetsTheVisitorUseMailboxes) {
    const OwnMailbox mine("mine");
    const auto visit = [](const itc_mailbox_info* info, void*) {
        sendNumber(info->id, 3);
        EXPECT_EQ(itc_locate(info->names[0]), info->id);
        return true;
    };
    EXPECT_EQ(itc_list_mailboxes(visit, nullptr), 1);
    EXPECT_EQ(nextNumber(), 3U);
}

TEST(MailboxList, LeavesOutTheDeadAndTheDeleted) {
    ChildProcess other([](Channel& test) {
        const OwnMailbox its("dead");
        test.put(0);
        test.get();
        return kDone;
    });
    other.get();
    const OwnMailbox mine;
    std::thread([] { const OwnMailbox deleted; }).join();
    EXPECT_EQ(listAll().size(), 2U);
    other.kill();
    EXPECT_EQ(listAll().size(), 1U);
    EXPECT_EQ(listAll()[0].id, mine.id());
}

TEST(ErrorText, IsEmptyUntilSomethingFailsAndThenStays) {
    EXPECT_STREQ(itc_error_text(), "");
    itc_alloc(0, kMsgNo);
    const std::string text = itc_error_text();
    EXPECT_EQ(text, "a message can't have 0 bytes");
    const OwnMailbox mine;
    EXPECT_EQ(itc_error_text(), text);
    std::thread([] { EXPECT_STREQ(itc_error_text(), ""); }).join();
}

}  // namespace
