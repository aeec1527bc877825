#include "childProcess.h"
#include "itcFixture.h"

#include <gtest/gtest.h>

#include <future>
#include <map>
#include <numeric>
#include <thread>

using namespace ItcTest;

namespace {

// A process that sends each message that it receives back to who sent it.
class EchoProcess {
public:
    EchoProcess()
        : process_([](Channel& test) {
              test.put(itc_create_mailbox(nullptr, 0));
              for (;;) {
                  itc_msg* message = itc_receive(nullptr, ITC_WAIT_FOREVER, ITC_ANY_SENDER);
                  itc_send(&message, itc_sender(message), ITC_OWN_MAILBOX);
              }
              return kDone;
          }),
          id_(process_.get()) {}
    itc_mbox_id_t id() const { return id_; }

private:
    ChildProcess process_;
    itc_mbox_id_t id_;
};

TEST(Send, TakesTheMessageOver) {
    const OwnMailbox mailbox;
    itc_msg* message = newNumber(kMsgNo, 1);
    itc_send(&message, mailbox.id(), ITC_OWN_MAILBOX);
    EXPECT_EQ(message, nullptr);
    itc_send(&message, mailbox.id(), ITC_OWN_MAILBOX);  // nothing to send
    EXPECT_EQ(queuedNumbers(), std::vector<std::uint32_t>{1});
}

TEST(Send, ReachesTheSendersOwnMailbox) {
    const OwnMailbox mailbox;
    sendNumber(mailbox.id(), 1);
    sendNumber(ITC_OWN_MAILBOX, 2);
    const Message first = receive(ITC_NO_WAIT);
    EXPECT_EQ(numberOf(first), 1U);
    EXPECT_EQ(senderOf(first), mailbox.id());
    EXPECT_EQ(nextNumber(), 2U);
}

TEST(Send, ReachesAnotherThreadInOrder) {
    constexpr std::uint32_t kCount = 1000;
    const OwnMailbox mailbox;
    std::thread([&mailbox] {
        for (std::uint32_t number = 0; number < kCount; ++number) {
            sendNumber(mailbox.id(), number);
        }
    }).join();
    std::vector<std::uint32_t> expected(kCount);
    std::iota(expected.begin(), expected.end(), 0U);
    EXPECT_EQ(queuedNumbers(), expected);
}

TEST(Send, ReachesAnotherProcessInOrder) {
    constexpr std::uint32_t kCount = 20'000;
    const OwnMailbox mailbox;
    ChildProcess sender([&mailbox](Channel&) {
        CHILD_CHECK(itc_create_mailbox(nullptr, 0) != ITC_NO_MAILBOX);
        for (std::uint32_t number = 0; number < kCount; ++number) {
            sendNumber(mailbox.id(), number);
        }
        return kDone;
    });
    for (std::uint32_t number = 0; number < kCount; ++number) {
        ASSERT_EQ(nextNumber(kLong), number);
    }
    EXPECT_EQ(sender.wait(), kDone);
    EXPECT_EQ(receive(ITC_NO_WAIT), nullptr);
}

TEST(Send, KeepsTheOrderOfEachOfManySenders) {
    constexpr std::uint32_t kCount = 2000;
    const OwnMailbox mailbox;
    const auto sendAll = [&mailbox] {
        const OwnMailbox own;
        for (std::uint32_t number = 0; number < kCount; ++number) {
            sendNumber(mailbox.id(), number);
        }
    };
    ChildProcess firstProcess([&](Channel&) { return sendAll(), kDone; });
    ChildProcess secondProcess([&](Channel&) { return sendAll(), kDone; });
    std::thread firstThread(sendAll);
    std::thread secondThread(sendAll);
    std::map<itc_mbox_id_t, std::uint32_t> nextOf;
    for (std::uint32_t received = 0; received < 4 * kCount; ++received) {
        const Message message = receive();
        ASSERT_EQ(numberOf(message), nextOf[senderOf(message)]++);
    }
    EXPECT_EQ(nextOf.size(), 4U);
    firstThread.join();
    secondThread.join();
    EXPECT_EQ(firstProcess.wait(), kDone);
    EXPECT_EQ(secondProcess.wait(), kDone);
}

// One that is sent after another has arrived somewhere never overtakes it, whichever way each
// takes.
TEST(Send, OvertakesNothingThatItDependsOn) {
    const OwnMailbox mailbox;
    ChildProcess other([&mailbox](Channel& test) {
        for (;;) {
            sendNumber(mailbox.id(), test.get());
            test.put(0);
        }
        return kDone;
    });
    for (std::uint32_t number = 0; number < 64; ++number) {
        if ((number * number / 3) % 2 == 0) {
            sendNumber(mailbox.id(), number);
        } else {
            other.put(number);
            other.get();
        }
    }
    std::vector<std::uint32_t> expected(64);
    std::iota(expected.begin(), expected.end(), 0U);
    EXPECT_EQ(queuedNumbers(), expected);
}

TEST(Send, ToNobodyFreesTheMessage) {
    const OwnMailbox mailbox;
    const auto gone = std::async(std::launch::async, [] { return OwnMailbox().id(); }).get();
    for (const itc_mbox_id_t nobody : {gone, mailbox.id() + 1000, 0x00500001U, 0xFFE00001U,
                                       ITC_NO_MAILBOX, ITC_ANY_SENDER, 0U}) {
        itc_msg* message = newNumber(kMsgNo, 1);
        itc_send(&message, nobody, ITC_OWN_MAILBOX);
        EXPECT_EQ(message, nullptr);
    }
    EXPECT_EQ(receive(ITC_NO_WAIT), nullptr);
}

TEST(Send, ToTheOwnMailboxOfAThreadThatHasNoneFreesTheMessage) {
    sendNumber(ITC_OWN_MAILBOX, 1);
    const OwnMailbox mailbox;
    EXPECT_EQ(receive(ITC_NO_WAIT), nullptr);
}

TEST(Send, ToAProcessThatIsGoneFreesTheMessage) {
    const OwnMailbox mailbox;
    EchoProcess* echo = new EchoProcess;
    const itc_mbox_id_t id = echo->id();
    sendNumber(id, 1);
    EXPECT_EQ(nextNumber(kLong), 1U);
    delete echo;
    for (std::uint32_t number = 0; number < 1000; ++number) {
        sendNumber(id, number);
    }
    const EchoProcess next;  // has the place of the first
    sendNumber(id, 2);
    sendNumber(next.id(), 3);
    EXPECT_EQ(nextNumber(kLong), 3U);
}

TEST(Send, NeedsNoMailboxOfTheSender) {
    const OwnMailbox mailbox;
    std::thread([&mailbox] { sendNumber(mailbox.id(), 4); }).join();
    ChildProcess other([&mailbox](Channel&) { return sendNumber(mailbox.id(), 5), kDone; });
    EXPECT_EQ(other.wait(), kDone);
    const Message fromThread = receive();
    EXPECT_EQ(numberOf(fromThread), 4U);
    EXPECT_EQ(senderOf(fromThread), ITC_NO_MAILBOX);
    EXPECT_EQ(nextNumber(), 5U);
}

TEST(Send, NamesAnySenderThatTheCallerWants) {
    const OwnMailbox mailbox;
    itc_msg* message = newNumber(kMsgNo, 1);
    itc_send(&message, mailbox.id(), 0x12345678);
    ChildProcess other([&mailbox](Channel&) {
        itc_msg* its = newNumber(kMsgNo, 2);
        itc_send(&its, mailbox.id(), 0x23456789);
        return kDone;
    });
    EXPECT_EQ(senderOf(receive()), 0x12345678U);
    EXPECT_EQ(senderOf(receive()), 0x23456789U);
}

TEST(Send, IsNotUndoneByTheEndOfItsProcess) {
    const OwnMailbox mailbox;
    ChildProcess sender([&mailbox](Channel&) {
        for (std::uint32_t number = 0; number < 500; ++number) {
            sendNumber(mailbox.id(), number);
        }
        return kDone;
    });
    EXPECT_EQ(sender.wait(), kDone);
    letSomeoneElseJoin();
    const std::vector<std::uint32_t> numbers = queuedNumbers();
    EXPECT_EQ(numbers.size(), 500U);
    EXPECT_EQ(numbers.back(), 499U);
}

TEST(Send, PassesAReceivedMessageOnWithinTheProcess) {
    const OwnMailbox mailbox;
    const EchoProcess echo;
    auto other = std::async(std::launch::async, [&mailbox] {
        const OwnMailbox its;
        sendNumber(mailbox.id(), 0);
        const Message passedOn = receive();
        return numberOf(passedOn) == 8 && senderOf(passedOn) == mailbox.id();
    });
    const itc_mbox_id_t thread = senderOf(receive());
    sendNumber(echo.id(), 8);
    itc_msg* received = receive().release();
    itc_send(&received, thread, ITC_OWN_MAILBOX);
    EXPECT_TRUE(other.get());
}

TEST(Send, PassesAReceivedMessageOnToAProcessAndBackToItsSender) {
    const OwnMailbox mailbox;
    const EchoProcess first;
    const EchoProcess second;
    sendNumber(first.id(), 9);
    for (const itc_mbox_id_t next : {second.id(), first.id(), second.id(), mailbox.id()}) {
        itc_msg* received = receive().release();
        itc_send(&received, next, ITC_OWN_MAILBOX);
        EXPECT_EQ(received, nullptr);
    }
    EXPECT_EQ(numberOf(receive()), 9U);
}

// Around each size into which the memory of an inbox is cut, its header of 32 bytes included.
class SendOfSize : public testing::TestWithParam<std::uint32_t> {};

TEST_P(SendOfSize, KeepsEveryByteBetweenThreads) {
    const OwnMailbox mailbox;
    for (std::uint32_t size = std::max(4U, GetParam() - 34); size <= GetParam() + 2; ++size) {
        itc_msg* message = itc_alloc(size, kMsgNo);
        fillPayload(message, size);
        itc_send(&message, mailbox.id(), ITC_OWN_MAILBOX);
        ASSERT_TRUE(hasPayload(receive().get(), size, size)) << size;
    }
}

TEST_P(SendOfSize, KeepsEveryByteBetweenProcesses) {
    const OwnMailbox mailbox;
    const EchoProcess echo;
    std::uint32_t sent = 0;
    for (std::uint32_t size = std::max(4U, GetParam() - 34); size <= GetParam() + 2; ++size) {
        itc_msg* message = itc_alloc(size, kMsgNo);
        if (message == nullptr) {
            EXPECT_GT(size, itc_get_max_size());
            continue;
        }
        fillPayload(message, size);
        itc_send(&message, echo.id(), ITC_OWN_MAILBOX);
        ++sent;
    }
    std::vector<Message> received;  // all at once, so that one that overlaps another is found
    for (std::uint32_t count = 0; count < sent; ++count) {
        received.push_back(receive());
    }
    std::uint32_t size = std::max(4U, GetParam() - 34);
    for (const Message& message : received) {
        ASSERT_TRUE(hasPayload(message.get(), size, size)) << size;
        ++size;
    }
}

INSTANTIATE_TEST_SUITE_P(, SendOfSize,
                         testing::Values(4U, 128U, 192U, 256U, 384U, 512U, 768U, 1024U, 1536U,
                                         2048U, 2688U, 4096U, 5440U, 8192U, 16384U, 32768U, 65536U,
                                         1'000'000U));

TEST(Send, CarriesMessagesOfAMegabyteBothWays) {
    const OwnMailbox mailbox;
    const EchoProcess echo;
    for (std::uint32_t round = 0; round < 20; ++round) {
        itc_msg* message = itc_alloc(itc_get_max_size(), kMsgNo);
        fillPayload(message, round);
        itc_send(&message, echo.id(), ITC_OWN_MAILBOX);
        ASSERT_TRUE(hasPayload(receive().get(), itc_get_max_size(), round));
    }
}

}  // namespace
