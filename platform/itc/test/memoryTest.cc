// Where the memory for messages between processes comes from and where it goes.

#include "childProcess.h"
#include "itcFixture.h"

#include <gtest/gtest.h>
#include <quoriaTest/sanitizers.h>

#include <sys/statvfs.h>

using namespace ItcTest;

namespace {

constexpr std::size_t kMegabyte = std::size_t{1} << 20;
constexpr std::uint32_t kSmall = 1000;
constexpr std::uint32_t kHalfAChunk = 8000;

// Sends as many messages of a size as it is told to, and says when it has.
class SenderProcess {
public:
    explicit SenderProcess(itc_mbox_id_t receiver)
        : process_([receiver](Channel& test) {
              const OwnMailbox its;
              for (;;) {
                  const std::uint32_t count = test.get();
                  const std::uint32_t size = test.get();
                  for (std::uint32_t number = 0; number < count; ++number) {
                      itc_msg* message = itc_alloc(size, kMsgNo);
                      reinterpret_cast<NumberMsg*>(message)->number = number;
                      itc_send(&message, receiver, ITC_OWN_MAILBOX);
                  }
                  test.put(count);
              }
              return kDone;
          }) {}
    void start(std::uint32_t count, std::uint32_t size) {
        process_.put(count);
        process_.put(size);
    }
    void waitUntilSent() { process_.get(); }
    void send(std::uint32_t count, std::uint32_t size) {
        start(count, size);
        waitUntilSent();
    }
    void kill() { process_.kill(); }

private:
    ChildProcess process_;
};

void receiveInOrder(std::uint32_t count) {
    for (std::uint32_t number = 0; number < count; ++number) {
        ASSERT_EQ(nextNumber(kLong), number);
    }
}

TEST(InboxMemory, IsUsedAgainByTheSameSender) {
    const OwnMailbox mine;
    SenderProcess sender(mine.id());
    for (int round = 0; round < 100; ++round) {
        sender.send(100, kSmall);
        receiveInOrder(100);
    }
    EXPECT_LT(domainBytes(), kMegabyte);
}

TEST(InboxMemory, OfABurstIsReturnedWhileTheSenderLives) {
    const OwnMailbox mine;
    SenderProcess sender(mine.id());
    sender.send(60'000, kSmall);
    EXPECT_GT(domainBytes(), 60 * kMegabyte);
    receiveInOrder(60'000);
    EXPECT_LT(domainBytes(), 16 * kMegabyte);
    sender.send(1000, kSmall);
    receiveInOrder(1000);
}

TEST(InboxMemory, OfABurstIsReturnedWhenTheSenderIsBusyAgain) {
    const OwnMailbox mine;
    SenderProcess sender(mine.id());
    for (const std::uint32_t size : {kSmall, 3000U, 30'000U, 300'000U}) {
        const std::uint32_t count = 60'000'000 / size;
        sender.send(count, size);
        sender.start(100, size);
        receiveInOrder(count);
        sender.waitUntilSent();
        receiveInOrder(100);
    }
    // What is left of each size: what the owner leaves to a sender and what that keeps for itself.
    EXPECT_LT(domainBytes(), 100 * kMegabyte);
}

TEST(InboxMemory, HoldsMessagesThatAreKeptForLong) {
    const OwnMailbox mine;
    SenderProcess sender(mine.id());
    std::vector<Message> kept;
    for (std::uint32_t round = 0; round < 50; ++round) {
        sender.start(1000, kSmall);
        for (std::uint32_t number = 0; number < 1000; ++number) {
            Message message = receive();
            ASSERT_EQ(numberOf(message), number);
            if (number == round) {
                kept.push_back(std::move(message));
            }
        }
        sender.waitUntilSent();
    }
    for (std::uint32_t round = 0; round < kept.size(); ++round) {
        EXPECT_EQ(numberOf(kept[round]), round);
    }
}

// Fills the whole inbox, 1 GiB.
class FullInbox : public testing::Test {
protected:
    void SetUp() override {
        struct statvfs status = {};
        ASSERT_EQ(statvfs(domainPath().c_str(), &status), 0);
        if (status.f_bavail * status.f_frsize < 1200 * kMegabyte) {
            GTEST_SKIP() << "needs 1.2 GiB of shared memory";
        }
        if (QuoriaTest::kThreadSanitizer) {
            GTEST_SKIP() << "ThreadSanitizer needs several times as much memory";
        }
    }

    const OwnMailbox mine_;
};

TEST_F(FullInbox, LetsASenderWaitAndLosesNothing) {
    SenderProcess sender(mine_.id());
    sender.start(1200, itc_get_max_size());
    receiveInOrder(1200);
    sender.waitUntilSent();
}

TEST_F(FullInbox, LetsASenderGoOnWhenTheReceiverIsKilled) {
    ChildProcess receiver([](Channel& test) {
        test.put(itc_create_mailbox(nullptr, 0));
        test.get();
        return kDone;
    });
    SenderProcess sender(receiver.get());
    sender.start(1200, itc_get_max_size());
    while (domainBytes() < 1000 * kMegabyte) {
    }
    receiver.kill();
    sender.waitUntilSent();
}

// Once its messages are received, a sender that does nothing more has no claim to the memory.
TEST_F(FullInbox, IsOpenToOthersOnceItIsDrained) {
    SenderProcess first(mine_.id());
    SenderProcess second(mine_.id());
    constexpr std::uint32_t kAll = 131'072;
    first.send(kAll, kHalfAChunk);
    receiveInOrder(kAll);
    second.start(900, itc_get_max_size());
    receiveInOrder(900);
    second.waitUntilSent();
    first.start(900, itc_get_max_size());
    receiveInOrder(900);
    first.waitUntilSent();
    first.start(1000, kSmall);
    receiveInOrder(1000);
}

TEST_F(FullInbox, IsOpenToOthersOnceItIsDrainedAndItsSenderIsDead) {
    SenderProcess second(mine_.id());
    {
        SenderProcess first(mine_.id());
        first.send(1000, itc_get_max_size());
        receiveInOrder(1000);
    }
    second.start(900, itc_get_max_size());
    receiveInOrder(900);
    second.waitUntilSent();
}

}  // namespace
