#include "childProcess.h"
#include "itcFixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <memory>
#include <ostream>
#include <thread>
#include <vector>

#include <unistd.h>

using namespace ItcTest;

namespace {

// How a process with a mailbox may end.
using End = void (*)(itc_mbox_id_t mailbox);

void byDeletion(itc_mbox_id_t mailbox) {
    itc_delete_mailbox(mailbox);
    pause();
}
void byExit(itc_mbox_id_t) {
    exit(kDone);
}
void byImmediateExit(itc_mbox_id_t) {
    _exit(kDone);
}
void byKill(itc_mbox_id_t) {
    ::kill(getpid(), SIGKILL);
}
void byAbort(itc_mbox_id_t) {
    ::signal(SIGABRT, SIG_DFL);
    abort();
}
void byExec(itc_mbox_id_t) {
    // Lives on until the test kills it.
    execl("/bin/sh", "sh", "-c", "exec sleep 1000", static_cast<char*>(nullptr));
}

// A process with a mailbox that sends `numbers` when it is told to, and then ends.
class EndingProcess {
public:
    explicit EndingProcess(End wayToEnd, std::uint32_t numbers = 0)
        : process_([=, receiver = itc_current_mbox()](Channel& test) {
              const itc_mbox_id_t id = itc_create_mailbox("ending", 0);
              test.put(id);
              test.get();
              for (std::uint32_t number = 0; number < numbers; ++number) {
                  sendNumber(receiver, number);
              }
              wayToEnd(id);
              return static_cast<int>(kDidNotExec);
          }),
          id_(process_.get()) {}
    itc_mbox_id_t id() const { return id_; }
    void end() { process_.put(0); }
    ChildProcess& process() { return process_; }

private:
    ChildProcess process_;
    itc_mbox_id_t id_;
};

struct WayToEnd {
    const char* name;
    End end;
};

void PrintTo(const WayToEnd& way, std::ostream* out) {
    *out << way.name;
}

class MonitorOfAProcess : public testing::TestWithParam<WayToEnd> {
protected:
    const OwnMailbox mine_;
};

TEST_P(MonitorOfAProcess, TellsOfItsEndOnceAndAfterItsMessages) {
    constexpr std::uint32_t kCount = 500;
    EndingProcess other(GetParam().end, kCount);
    EXPECT_NE(monitor(other.id(), kCount), ITC_NO_MAILBOX);
    EXPECT_EQ(receive(ITC_NO_WAIT), nullptr);
    other.end();
    for (std::uint32_t number = 0; number < kCount; ++number) {
        ASSERT_EQ(nextNumber(kLong), number);
    }
    const Message gone = receive();
    EXPECT_EQ(msgNoOf(gone), kGoneMsgNo);
    EXPECT_EQ(senderOf(gone), other.id());
    EXPECT_EQ(itc_locate("ending"), ITC_NO_MAILBOX);
    letSomeoneElseJoin();
    other.process().kill();  // if it is still there: it has done all by now
    EXPECT_EQ(receive(ITC_NO_WAIT), nullptr);
    EXPECT_FALSE(isReadable(itc_get_fd()));
}

TEST_P(MonitorOfAProcess, TellsThroughTheDescriptor) {
    EndingProcess other(GetParam().end);
    monitor(other.id(), 1);
    monitor(other.id(), 2);
    EXPECT_FALSE(isReadable(itc_get_fd()));
    other.end();
    std::vector<std::uint32_t> numbers;
    while (numbers.size() < 2 && becomesReadable(itc_get_fd())) {
        const std::vector<std::uint32_t> more = queuedNumbers();
        numbers.insert(numbers.end(), more.begin(), more.end());
    }
    std::sort(numbers.begin(), numbers.end());
    EXPECT_EQ(numbers, (std::vector<std::uint32_t>{1, 2}));
    other.process().kill();
    EXPECT_EQ(receive(ITC_NO_WAIT), nullptr);
    EXPECT_FALSE(isReadable(itc_get_fd()));
}

TEST_P(MonitorOfAProcess, TellsEvenWithAFilterThatWaitsForIt) {
    EndingProcess other(GetParam().end, 10);
    monitor(other.id());
    other.end();
    EXPECT_EQ(senderOf(receiveOnly({kGoneMsgNo}, ITC_WAIT_FOREVER)), other.id());
    EXPECT_EQ(queuedNumbers().size(), 10U);
}

INSTANTIATE_TEST_SUITE_P(, MonitorOfAProcess,
                         testing::Values(WayToEnd{"Deletion", byDeletion}, WayToEnd{"Exit", byExit},
                                         WayToEnd{"ImmediateExit", byImmediateExit},
                                         WayToEnd{"Kill", byKill}, WayToEnd{"Abort", byAbort},
                                         WayToEnd{"Exec", byExec}),
                         [](const auto& instance) { return std::string(instance.param.name); });

TEST(MonitorProcess, ThatIsGoneAlreadyAnswersAfterWhatThatHadSent) {
    const OwnMailbox mine;
    EndingProcess other(byImmediateExit, 3);
    other.end();
    EXPECT_EQ(other.process().wait(), kDone);
    monitor(other.id(), 3);
    EXPECT_EQ(queuedNumbers(), (std::vector<std::uint32_t>{0, 1, 2, 3}));
}

TEST(MonitorProcess, TellsOfAZombie) {
    const OwnMailbox mine;
    EndingProcess other(byKill);
    monitor(other.id());
    other.process().killAndLeaveZombie();
    EXPECT_EQ(senderOf(receive()), other.id());
    monitor(other.id());
    EXPECT_EQ(senderOf(receive()), other.id());
}

TEST(MonitorProcess, TellsOfAThreadOfAnotherProcess) {
    const OwnMailbox mine;
    ChildProcess other([](Channel& test) {
        const OwnMailbox its;
        std::thread([&test] {
            test.put(itc_create_mailbox(nullptr, 0));
            test.get();
        }).join();
        test.get();
        return kDone;
    });
    const itc_mbox_id_t thread = other.get();
    monitor(thread);
    EXPECT_EQ(receive(ITC_NO_WAIT), nullptr);
    other.put(0);
    EXPECT_EQ(senderOf(receive()), thread);
}

TEST(MonitorProcess, TellsEachOfManyWatchers) {
    const OwnMailbox mine;
    EndingProcess victim(byKill);
    const auto watch = [&victim](Channel& test) {
        const OwnMailbox its;
        monitor(victim.id());
        test.put(0);
        CHILD_CHECK(senderOf(receive()) == victim.id());
        return kDone;
    };
    ChildProcess first(watch);
    ChildProcess second(watch);
    ChildProcess third(watch);
    first.get();
    second.get();
    third.get();
    victim.end();
    EXPECT_EQ(first.wait(), kDone);
    EXPECT_EQ(second.wait(), kDone);
    EXPECT_EQ(third.wait(), kDone);
}

// The slot of the dead may have passed on before its watcher looks.
TEST(MonitorProcess, OfTheDeadIsNotLostWhenTheirSuccessorIsWatched) {
    const OwnMailbox mine;
    EndingProcess first(byKill);
    monitor(first.id(), 1);
    first.process().kill();
    EndingProcess second(byKill);
    EXPECT_EQ(second.id() >> 20, first.id() >> 20) << "not a successor, nothing is tested";
    monitor(second.id(), 2);
    const Message gone = receive(ITC_NO_WAIT);
    EXPECT_EQ(numberOf(gone), 1U);
    EXPECT_EQ(senderOf(gone), first.id());
    EXPECT_EQ(receive(ITC_NO_WAIT), nullptr);
    second.end();
    EXPECT_EQ(numberOf(receive()), 2U);
}

TEST(MonitorProcess, ThatWasEndedSaysNothingAndHoldsNothing) {
    const OwnMailbox mine;
    EndingProcess first(byKill);
    EndingProcess second(byKill);
    itc_unmonitor(monitor(first.id()));
    const std::size_t descriptors = openDescriptors();
    for (int round = 0; round < 10; ++round) {
        const itc_monitor_id_t id = monitor(first.id());
        itc_unmonitor(monitor(first.id()));
        itc_unmonitor(id);
    }
    EXPECT_EQ(openDescriptors(), descriptors);
    monitor(second.id());
    first.process().kill();
    EXPECT_EQ(receive(ITC_NO_WAIT), nullptr);
    EXPECT_FALSE(isReadable(itc_get_fd()));
    second.end();
    EXPECT_EQ(senderOf(receive()), second.id());
    EXPECT_EQ(receive(ITC_NO_WAIT), nullptr);
}

TEST(MonitorProcess, OfManyOneAfterTheOtherHoldsFewDescriptors) {
    const OwnMailbox mine;
    std::vector<std::unique_ptr<EndingProcess>> others;
    for (int count = 0; count < 20; ++count) {
        others.push_back(std::make_unique<EndingProcess>(byKill));
    }
    const std::size_t before = openDescriptors();
    for (int round = 0; round < 2; ++round) {
        for (const auto& other : others) {
            itc_unmonitor(monitor(other->id()));
        }
    }
    // Beside what a sender needs for each, which is an inbox and a bell.
    EXPECT_LE(openDescriptors(), before + 2 * others.size() + 4);
    monitor(others.front()->id());
    others.front()->end();
    EXPECT_EQ(senderOf(receive()), others.front()->id());
}

TEST(MonitorProcess, TellsAMailboxThatNeverRunsEmpty) {
    const OwnMailbox mine;
    EndingProcess other(byKill);
    monitor(other.id());
    other.process().kill();
    sendNumber(mine.id(), 0);
    std::uint32_t others = 0;
    for (;;) {
        sendNumber(mine.id(), 0);
        if (msgNoOf(receive(ITC_NO_WAIT)) == kGoneMsgNo) {
            break;
        }
        ASSERT_LT(++others, 1000U);
    }
}

TEST(MonitorProcess, TakesAReceivedMessageAsItsIndication) {
    const OwnMailbox mine;
    EndingProcess other(byKill, 1);
    other.end();
    itc_msg* received = receive().release();
    itc_monitor(other.id(), &received);
    EXPECT_EQ(received, nullptr);
    const Message gone = receive();
    EXPECT_EQ(numberOf(gone), 0U);
    EXPECT_EQ(senderOf(gone), other.id());
}

// A server must not remember for ever who once watched it.
TEST(MonitorProcess, WatchersThatWereKilledAreForgotten) {
    const OwnMailbox mine;
    for (int round = 0; round < 200; ++round) {
        ChildProcess watcher([&mine](Channel& test) {
            const OwnMailbox its;
            monitor(mine.id());
            test.put(0);
            test.get();
            return kDone;
        });
        watcher.get();
        watcher.kill();
        EXPECT_EQ(receive(ITC_NO_WAIT), nullptr);
    }
    EXPECT_EQ(receive(ITC_NO_WAIT), nullptr);
}

}  // namespace
