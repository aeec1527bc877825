// What is left when processes are killed: nothing that hinders those who live.

#include "childProcess.h"
#include "itcFixture.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <thread>

#include <fcntl.h>
#include <sched.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace ItcTest;

namespace {

// Lets a child run into whatever it is doing for a time that differs from round to round.
void waitALittle(std::uint32_t round) {
    for (std::uint32_t turn = 0; turn < round * 7 % 100; ++turn) {
        sched_yield();
    }
}

// Each sender counts up and may be killed between any two instructions: what arrives counts up as
// well, without a gap, and nothing of the others is lost.
TEST(Crash, OfSendersLeavesNoGapAndNoStuckMailbox) {
    constexpr std::uint32_t kRounds = 60;
    const OwnMailbox mine;
    ChildProcess survivor([&mine](Channel& test) {
        const OwnMailbox its;
        for (std::uint32_t number = 0;; ++number) {
            test.get();
            sendNumber(mine.id(), number, kOtherMsgNo);
            test.put(0);
        }
        return kDone;
    });
    for (std::uint32_t round = 0; round < kRounds; ++round) {
        ChildProcess sender([&mine](Channel& test) {
            const OwnMailbox its;
            test.put(0);
            for (std::uint32_t number = 0;; ++number) {
                itc_msg* message = newNumber(kMsgNo, number);
                itc_send(&message, mine.id(), ITC_OWN_MAILBOX);
                if (number % 64 == 63) {
                    message = itc_alloc(40'000, kThirdMsgNo);
                    itc_send(&message, mine.id(), ITC_OWN_MAILBOX);
                }
            }
            return kDone;
        });
        sender.get();
        waitALittle(round);
        sender.kill();
        survivor.put(0);
        survivor.get();
        ASSERT_EQ(numberOf(receiveOnly({kOtherMsgNo})), round);
        std::uint32_t next = 0;
        while (const Message message = receive(ITC_NO_WAIT)) {
            if (message->msgno == kMsgNo) {
                ASSERT_EQ(numberOf(message), next++);
            }
        }
        ASSERT_FALSE(isReadable(itc_get_fd()));
    }
}

TEST(Crash, OfSendersCostsNoMemoryForEver) {
    constexpr std::uint32_t kRounds = 300;
    const OwnMailbox mine;
    for (std::uint32_t round = 0; round < kRounds; ++round) {
        ChildProcess sender([&mine](Channel& test) {
            const OwnMailbox its;
            for (std::uint32_t number = 0; number < 20; ++number) {
                itc_msg* message = itc_alloc(1000 * (number + 1), kMsgNo);
                itc_send(&message, mine.id(), ITC_OWN_MAILBOX);
            }
            test.put(0);
            test.get();
            return kDone;
        });
        sender.get();
        sender.kill();
        ASSERT_EQ(queuedNumbers().size(), 20U);
    }
    // A round takes 20 chunks of 16 KiB or more. What 64 of them hold may wait for the next look.
    EXPECT_LT(domainBytes(), std::size_t{4} << 20);
}

TEST(Crash, OfASenderLeavesItsMessagesToTheReceiver) {
    const OwnMailbox mine;
    std::vector<Message> held;
    for (std::uint32_t round = 0; round < 100; ++round) {
        ChildProcess sender([&mine, round](Channel& test) {
            for (std::uint32_t message = 0; message < 2; ++message) {
                itc_msg* large = itc_alloc(50'000, kMsgNo);
                fillPayload(large, round);
                itc_send(&large, mine.id(), ITC_OWN_MAILBOX);
            }
            test.put(0);
            test.get();
            return kDone;
        });
        sender.get();
        sender.kill();
        held.push_back(receive());  // kept, while others come and go
        ASSERT_TRUE(hasPayload(receive().get(), 50'000, round));
    }
    for (std::uint32_t round = 0; round < held.size(); ++round) {
        ASSERT_TRUE(hasPayload(held[round].get(), 50'000, round));
    }
}

TEST(Crash, OfReceiversLetsSendersGoOn) {
    const OwnMailbox mine;
    for (std::uint32_t round = 0; round < 100; ++round) {
        ChildProcess receiver([](Channel& test) {
            test.put(itc_create_mailbox(nullptr, 0));
            while (receive(ITC_WAIT_FOREVER) != nullptr) {
            }
            return kDone;
        });
        const itc_mbox_id_t its = receiver.get();
        monitor(its, round);
        for (std::uint32_t number = 0; number < round * 5; ++number) {
            sendNumber(its, number);
        }
        receiver.kill();
        for (std::uint32_t number = 0; number < 1000; ++number) {
            sendNumber(its, number);
        }
        ASSERT_EQ(numberOf(receive()), round);
    }
}

TEST(Crash, OfReceiversCostsTheirSendersNothingForEver) {
    constexpr int kReceivers = 20;
    const OwnMailbox mine;
    const auto startReceiver = [] {
        return std::make_unique<ChildProcess>([](Channel& test) {
            test.put(itc_create_mailbox(nullptr, 0));
            test.get();
            return kDone;
        });
    };
    std::vector<std::unique_ptr<ChildProcess>> receivers;
    const std::size_t before = openDescriptors();
    for (int count = 0; count < kReceivers; ++count) {
        receivers.push_back(startReceiver());
        sendNumber(receivers.back()->get(), 1);
    }
    EXPECT_GT(openDescriptors(), before + 2 * kReceivers);
    receivers.clear();
    receivers.push_back(startReceiver());
    sendNumber(receivers.back()->get(), 1);
    // The channel to the new one, its inbox and its bell.
    EXPECT_LE(openDescriptors(), before + 3);
}

TEST(Crash, OfAReceiverReturnsTheMemoryOfItsBacklog) {
    const OwnMailbox mine;
    ChildProcess receiver([](Channel& test) {
        test.put(itc_create_mailbox(nullptr, 0));
        test.get();
        return kDone;
    });
    const itc_mbox_id_t its = receiver.get();
    for (int message = 0; message < 20; ++message) {
        itc_msg* large = itc_alloc(itc_get_max_size(), kMsgNo);
        itc_send(&large, its, ITC_OWN_MAILBOX);
    }
    EXPECT_GT(domainBytes(), std::size_t{20} << 20);
    const int inbox = open((domainPath() + "/process-0002/inbox").c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_GE(inbox, 0);
    receiver.kill();
    letSomeoneElseJoin();
    EXPECT_LT(domainBytes(), std::size_t{1} << 20);
    struct stat status = {};
    EXPECT_EQ(fstat(inbox, &status), 0);
    EXPECT_LT(status.st_blocks * 512, 1 << 20);  // although the sender has it mapped still
    close(inbox);
}

// Kills processes at all points of joining, naming, asking, watching and leaving.
TEST(Crash, OfProcessesThatComeAndGoLeavesNoTraces) {
    constexpr std::uint32_t kRounds = 100;
    const OwnMailbox mine("rock");
    for (std::uint32_t round = 0; round < kRounds; ++round) {
        ChildProcess busy([&mine](Channel& test) {
            test.put(0);
            for (;;) {
                std::thread([&mine] {
                    const OwnMailbox its("a..b/c");
                    itc_add_name(its.id(), "another");
                    itc_add_name(its.id(), "third");
                    locateAsync("never there");
                    locateAsync("another");
                    monitor(mine.id());
                    receive();
                    sendNumber(mine.id(), 1);
                }).join();
            }
            return kDone;
        });
        busy.get();
        if (round % 2 == 0) {
            nextNumber(kLong);
        }
        waitALittle(round);
        busy.kill();
        const itc_mbox_id_t holder = itc_locate("another");
        ASSERT_EQ(holder, ITC_NO_MAILBOX);
        queuedNumbers();
    }
    letSomeoneElseJoin();
    EXPECT_EQ(namesInDomain(), std::vector<std::string>{"names/rock"});
    for (const std::string& entry : tracesInDomain()) {
        EXPECT_TRUE(entry.rfind("process-0001", 0) == 0 || entry.rfind("names/rock", 0) == 0)
            << entry;
    }
    ChildProcess next([](Channel&) {
        const OwnMailbox its("another");
        CHILD_CHECK(itc_locate("another") == its.id());
        return kDone;
    });
    EXPECT_EQ(next.wait(), kDone);
}

// At the very beginning: while the domain and the process's own folder are made.
TEST(Crash, OfProcessesThatAreJustJoiningLeavesNoTraces) {
    for (std::uint32_t round = 0; round < 200; ++round) {
        ChildProcess joining([](Channel& test) {
            test.put(0);
            const OwnMailbox its("joining");
            test.get();
            return kDone;
        });
        joining.get();
        waitALittle(round);
        joining.kill();
    }
    letSomeoneElseJoin();
    EXPECT_EQ(tracesInDomain(), std::vector<std::string>());
}

TEST(CleanExit, LeavesNoTraces) {
    const auto live = [](Channel&) -> int {
        CHILD_CHECK(itc_create_mailbox("living", 0) != ITC_NO_MAILBOX);
        itc_add_name(itc_current_mbox(), "also known as");
        locateAsync("never there");
        std::thread([] {
            const OwnMailbox its("thread's");
            sendNumber(its.id(), 1);
        }).join();
        exit(kDone);
    };
    ChildProcess first(live);
    EXPECT_EQ(first.wait(), kDone);
    EXPECT_EQ(tracesInDomain(), std::vector<std::string>());
}

TEST(CleanExit, LeavesNoTracesWhileOtherThreadsAreAtWork) {
    for (int round = 0; round < 30; ++round) {
        ChildProcess exiting([](Channel&) -> int {
            for (int thread = 0; thread < 3; ++thread) {
                std::thread([] {
                    for (;;) {
                        const OwnMailbox its("busy");
                        sendNumber(its.id(), 1);
                    }
                }).detach();
            }
            const OwnMailbox own;
            while (itc_locate("busy") == ITC_NO_MAILBOX) {
            }
            exit(kDone);
        });
        EXPECT_EQ(exiting.wait(), kDone);
    }
    letSomeoneElseJoin();
    EXPECT_EQ(tracesInDomain(), std::vector<std::string>());
}

// The dead are swept by several threads and processes at once, and their slots taken at once.
TEST(Sweep, ByManyAtOnceTakesNothingFromTheLiving) {
    const OwnMailbox mine;
    ChildProcess locator([](Channel&) {
        const auto locateAll = [] {
            for (int round = 0; round < 20'000; ++round) {
                itc_locate("victim");
            }
        };
        std::thread second(locateAll);
        std::thread third(locateAll);
        locateAll();
        second.join();
        third.join();
        return kDone;
    });
    for (std::uint32_t round = 0; round < 200; ++round) {
        ChildProcess victim([](Channel& test) {
            const OwnMailbox its("victim");
            test.put(its.id());
            const Message message = receive();
            CHILD_CHECK(message != nullptr);
            sendNumber(senderOf(message), numberOf(message));
            test.get();
            return kDone;
        });
        const itc_mbox_id_t its = victim.get();
        ASSERT_EQ(itc_locate("victim"), its);
        sendNumber(its, round);
        ASSERT_EQ(nextNumber(kLong), round);
        victim.kill();
    }
    EXPECT_EQ(locator.wait(), kDone);
}

}  // namespace
