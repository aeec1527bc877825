// A process is killed at every single instruction of what it does with the library, one process for
// each. Nothing may come of it for those who live: no message lost or doubled, no mailbox stuck, no
// name or memory kept.
//
// What a process does to the domain's directory it does by system calls; such operations are killed
// at the entry and at the return of each. This program puts its own function between the library
// and the C library.

#include "itcFixture.h"
#include "steppedProcess.h"

#include <gtest/gtest.h>
#include <quoriaTest/sanitizers.h>

#include <cerrno>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <dlfcn.h>
#include <fcntl.h>

using namespace ItcTest;

namespace {

// For the calls of this thread. So many times there is no memory to put behind a file.
thread_local int failingReservations_ = 0;
// Called once, before memory is taken from behind a file; how often that has been done.
thread_local std::function<void()> beforeReturn_;
thread_local int returns_ = 0;

}  // namespace

extern "C" __attribute__((visibility("default"))) int fallocate(int fd, int mode, off_t offset,
                                                                off_t length) {
    static auto* const next =
        reinterpret_cast<int (*)(int, int, off_t, off_t)>(dlsym(RTLD_NEXT, "fallocate"));
    if (mode == 0 && failingReservations_ > 0) {
        --failingReservations_;
        errno = ENOSPC;
        return -1;
    }
    returns_ += mode != 0 ? 1 : 0;
    if (const auto before = mode != 0 ? std::exchange(beforeReturn_, nullptr) : nullptr; before) {
        before();
    }
    return next(fd, mode, offset, length);
}

namespace {

// What a kill must not harm: the test's own mailbox, and a process that goes on sending to it.
class Survivors {
public:
    Survivors()
        : sender_([this](Channel& test) {
              const OwnMailbox its("survivor");
              test.put(0);
              for (std::uint32_t number = 0;; ++number) {
                  test.get();
                  sendNumber(mine_.id(), number, kOtherMsgNo);
                  test.put(0);
              }
              return kDone;
          }) {
        sender_.get();
    }

    itc_mbox_id_t mailbox() const { return mine_.id(); }

    // What the dead had sent, by kMsgNo, counts up from 0 without a gap; `atLeast` had been sent
    // before it was killed. Then comes what others send.
    void check(std::uint32_t atLeast) {
        sender_.put(0);
        sender_.get();
        std::uint32_t next = 0;
        std::uint32_t gone = 0;
        std::uint32_t others = 0;
        while (const Message message = receive(others == 1 ? ITC_NO_WAIT : kLong)) {
            if (message->msgno == kMsgNo) {
                ASSERT_EQ(numberOf(message), next++);
            } else if (message->msgno == kGoneMsgNo) {
                ++gone;
            } else {
                ASSERT_EQ(numberOf(message), round_);
                ++others;
            }
        }
        ASSERT_GE(next, atLeast);
        ASSERT_EQ(gone, 0U);
        ASSERT_EQ(others, 1U);
        ASSERT_FALSE(isReadable(itc_get_fd()));
        ++round_;
    }

private:
    const OwnMailbox mine_{"main"};
    ChildProcess sender_;
    std::uint32_t round_ = 0;
};

using Meeting = std::function<void(ChildProcess&)>;

class KillSweep : public testing::Test {
protected:
    void SetUp() override {
        if (QuoriaTest::kAnySanitizer) {
            GTEST_SKIP() << "a sanitizer makes ten instructions of each";
        }
        if (!SteppedProcess::canStep()) {
            GTEST_SKIP() << "single steps break the atomic operations of this processor";
        }
    }

    // Kills one process ahead of each instruction of the operation and calls `check` after each
    // kill. `meet` is the test's side of the preparation.
    void sweep(const Preparation& prepare, const std::function<void()>& check,
               const Meeting& meet = {}) {
        SteppedProcess first(prepare, meet);
        const std::vector<std::uintptr_t> instructions = first.traceToEnd();
        first.kill();
        check();
        std::map<std::uintptr_t, std::uint32_t> seen;
        for (const std::uintptr_t instruction : instructions) {
            SteppedProcess process(prepare, meet);
            process.runTo(instruction, ++seen[instruction]);
            process.kill();
            check();
            ASSERT_FALSE(HasFatalFailure()) << "killed at " << std::hex << instruction << std::dec
                                            << ", time " << seen[instruction];
        }
        std::cout << instructions.size() << " processes killed" << std::endl;
    }

    // The same at the entry and the return of each system call.
    void sweepSystemCalls(const Preparation& prepare, const std::function<void()>& check,
                          const Meeting& meet = {},
                          SteppedProcess::Steps which = SteppedProcess::Steps::kProcess) {
        std::uint32_t steps = 0;
        for (bool isOver = false; !isOver;) {
            SteppedProcess process(prepare, meet, which);
            isOver = !process.runToSystemCall(++steps);
            process.kill();
            check();
            ASSERT_FALSE(HasFatalFailure()) << "killed at step " << steps;
        }
        std::cout << steps << " processes killed" << std::endl;
    }

    // The dead must be gone from the domain with all that they had there, once the next process has
    // joined.
    void sweepTraces(const Preparation& prepare, const Meeting& meet = {}) {
        Survivors survivors;
        const std::vector<std::string> before = tracesInDomain();
        const auto check = [&] {
            EXPECT_EQ(itc_locate(kName), ITC_NO_MAILBOX);
            survivors.check(0);
            letSomeoneElseJoin();
            ASSERT_EQ(tracesInDomain(), before);
        };
        sweepSystemCalls(prepare, check, meet);
    }

    // An end that is the whole operation is told once, whether it has come to that or not, and
    // leaves nothing.
    void sweepEnd(const Operation& end, SteppedProcess::Steps which) {
        Survivors survivors;
        const std::vector<std::string> before = tracesInDomain();
        sweepSystemCalls(
            [&](Channel& test) {
                test.put(itc_create_mailbox(kName, 0));
                locateAsync("never there");
                monitor(survivors.mailbox());
                test.get();
                return end;
            },
            [&] {
                ASSERT_EQ(msgNoOf(receiveOnly({kGoneMsgNo})), kGoneMsgNo);
                ASSERT_EQ(itc_locate(kName), ITC_NO_MAILBOX);
                survivors.check(0);
                letSomeoneElseJoin();
                ASSERT_EQ(tracesInDomain(), before);
            },
            [](ChildProcess& process) {
                monitor(process.get());
                process.put(0);
            },
            which);
    }

    static constexpr const char* kName = "of the dead";
};

Operation sending(itc_mbox_id_t receiver, std::uint32_t number, std::uint32_t size) {
    itc_msg* message = itc_alloc(size, kMsgNo);
    reinterpret_cast<NumberMsg*>(message)->number = number;
    return [message, receiver]() mutable { itc_send(&message, receiver, ITC_OWN_MAILBOX); };
}

class KillSweepOfASend : public KillSweep, public testing::WithParamInterface<std::uint32_t> {};

// The first of its size: memory is claimed for it in the receiver's inbox.
TEST_P(KillSweepOfASend, ThatClaimsMemoryHarmsNobody) {
    Survivors survivors;
    sweep(
        [&survivors](Channel&) {
            sendNumber(survivors.mailbox(), 0);
            return sending(survivors.mailbox(), 1, GetParam());
        },
        [&survivors] { survivors.check(1); });
    EXPECT_LT(domainBytes(), std::size_t{16} << 20);
}

INSTANTIATE_TEST_SUITE_P(OfBytes, KillSweepOfASend, testing::Values(400, 4000, 40000),
                         testing::PrintToStringParamName());

TEST_F(KillSweep, OfASendHarmsNobody) {
    Survivors survivors;
    sweep(
        [&survivors](Channel&) {
            sendNumber(survivors.mailbox(), 0);
            return sending(survivors.mailbox(), 1, sizeof(NumberMsg));
        },
        [&survivors] { survivors.check(1); });
    EXPECT_LT(domainBytes(), std::size_t{4} << 20);
}

TEST_F(KillSweep, OfTheFirstSendHarmsNobody) {
    Survivors survivors;
    sweepSystemCalls(
        [&survivors](Channel&) { return sending(survivors.mailbox(), 0, sizeof(NumberMsg)); },
        [&survivors] { survivors.check(0); });
}

// Its inbox goes with it. Who had sent to it sends to others as before.
TEST_F(KillSweep, OfAReceiveHarmsNobody) {
    Survivors survivors;
    sweep(
        [](Channel& test) {
            itc_create_mailbox(nullptr, 0);
            test.put(itc_current_mbox());
            test.get();
            return [] {
                receive(ITC_NO_WAIT).reset();
                receive(ITC_NO_WAIT).reset();
            };
        },
        [&survivors] { survivors.check(0); },
        [](ChildProcess& process) {
            const itc_mbox_id_t its = process.get();
            sendNumber(its, 0);
            sendNumber(its, 1);
            process.put(0);
        });
    EXPECT_LT(domainBytes(), std::size_t{4} << 20);
}

// Once, whether it was the mailbox that ended or its process.
TEST_F(KillSweep, OfADeletionTellsThoseWhoWatchOnce) {
    const OwnMailbox mine;
    sweepSystemCalls(
        [](Channel& test) {
            const itc_mbox_id_t its = itc_create_mailbox(kName, 0);
            test.put(its);
            test.get();
            return [its] { itc_delete_mailbox(its); };
        },
        [] {
            ASSERT_EQ(msgNoOf(receive()), kGoneMsgNo);
            ASSERT_EQ(receive(ITC_NO_WAIT), nullptr);
            ASSERT_EQ(itc_locate(kName), ITC_NO_MAILBOX);
            ASSERT_FALSE(isReadable(itc_get_fd()));
        },
        [](ChildProcess& process) {
            monitor(process.get());
            process.put(0);
        });
}

TEST_F(KillSweep, OfTheEndOfAThreadTellsThoseWhoWatchOnce) {
    sweepEnd([] {}, SteppedProcess::Steps::kThread);
}

TEST_F(KillSweep, OfTheEndOfAProcessTellsThoseWhoWatchOnce) {
    sweepEnd([] { exit(kDone); }, SteppedProcess::Steps::kProcess);
}

// It has blocks in the inbox of another, all of them free, and gives them up as there is no room
// for the next.
TEST_F(KillSweep, OfASenderThatGivesMemoryBackHarmsNobody) {
    Survivors survivors;
    sweep(
        [&survivors](Channel& test) {
            sending(survivors.mailbox(), 0, 4000)();
            sending(survivors.mailbox(), 0, 40000)();
            test.put(0);
            test.get();
            failingReservations_ = 1;
            beforeReturn_ = SteppedProcess::begin;
            sending(survivors.mailbox(), 0, 400)();
            return Operation();
        },
        [&survivors] { survivors.check(0); },
        [](ChildProcess& process) {
            process.get();
            receive().reset();
            receive().reset();
            process.put(0);
        });
    EXPECT_LT(domainBytes(), std::size_t{16} << 20);
}

// Some of it is of a sender that is dead, some of one that lives, as that one finds no room.
TEST_F(KillSweep, OfAReceiverThatTakesMemoryBackHarmsNobody) {
    Survivors survivors;
    sweepSystemCalls(
        [](Channel& test) {
            test.put(itc_create_mailbox(nullptr, 0));
            itc_msg* ofTheDead = itc_receive(nullptr, kLong, ITC_ANY_SENDER);
            test.put(0);
            itc_msg* ofTheLiving = itc_receive(nullptr, kLong, ITC_ANY_SENDER);
            test.put(0);
            test.get();
            return [ofTheDead, ofTheLiving]() mutable {
                returns_ = 0;
                itc_free(&ofTheDead);
                itc_free(&ofTheLiving);
                receive(ITC_NO_WAIT).reset();
                CHILD_CHECK(returns_ == 2);
            };
        },
        [&survivors] { survivors.check(0); },
        [](ChildProcess& process) {
            const itc_mbox_id_t its = process.get();
            ChildProcess dead([its](Channel& test) {
                sending(its, 0, itc_get_max_size())();
                test.get();
                return kDone;
            });
            process.get();
            dead.kill();
            sending(its, 0, 40000)();
            process.get();
            failingReservations_ = 2;
            sending(its, 1, itc_get_max_size())();
            process.put(0);
        });
    EXPECT_LT(domainBytes(), std::size_t{4} << 20);
}

TEST_F(KillSweep, OfOneWhoWatchesHarmsNobody) {
    Survivors survivors;
    sweep(
        [&survivors](Channel&) {
            itc_create_mailbox(nullptr, 0);
            monitor(survivors.mailbox());
            return [&survivors] { itc_unmonitor(monitor(survivors.mailbox())); };
        },
        [&survivors] { survivors.check(0); });
}

TEST_F(KillSweep, OfOneWhoJoinsLeavesNothing) {
    sweepTraces([](Channel&) { return [] { itc_create_mailbox(kName, 0); }; });
}

TEST_F(KillSweep, OfOneWhoTakesANameLeavesNothing) {
    sweepTraces([](Channel&) {
        const itc_mbox_id_t its = itc_create_mailbox(nullptr, 0);
        return [its] { itc_add_name(its, kName); };
    });
}

TEST_F(KillSweep, OfOneWhoDropsANameLeavesNothing) {
    sweepTraces([](Channel&) {
        const itc_mbox_id_t its = itc_create_mailbox(kName, 0);
        return [its] { itc_delete_mailbox(its); };
    });
}

TEST_F(KillSweep, OfOneWhoAsksForANameLeavesNothing) {
    sweepTraces([](Channel&) {
        itc_create_mailbox(nullptr, 0);
        return [] { locateAsync(kName); };
    });
}

TEST_F(KillSweep, OfOneWhoSweepsTheTracesOfAnotherLeavesNeither) {
    sweepTraces(
        [](Channel& test) {
            test.get();
            return [] { itc_create_mailbox(nullptr, 0); };
        },
        [](ChildProcess& process) {
            ChildProcess dead([](Channel& test) {
                itc_create_mailbox(kName, 0);
                locateAsync("something else");
                test.put(0);
                test.get();
                return kDone;
            });
            dead.get();
            dead.kill();
            process.put(0);
        });
}

}  // namespace
