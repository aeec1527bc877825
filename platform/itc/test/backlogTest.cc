// How a sender that is far ahead of its receiver makes way for it.

#include "childProcess.h"
#include "itcFixture.h"

#include <gtest/gtest.h>

#include <thread>

#include <sys/syscall.h>
#include <unistd.h>

using namespace ItcTest;

namespace {

constexpr std::uint32_t kFarAhead = 16384;
constexpr std::uint32_t kMessagesPerOffer = 1024;

thread_local int offers = 0;

void send(itc_mbox_id_t receiver, std::uint32_t count) {
    for (std::uint32_t number = 0; number < count; ++number) {
        sendNumber(receiver, number);
    }
}

void receiveAll(std::uint32_t count) {
    for (std::uint32_t number = 0; number < count; ++number) {
        ASSERT_EQ(nextNumber(), number);
    }
}

}  // namespace

// libitc calls this one.
extern "C" __attribute__((visibility("default"))) int sched_yield() noexcept {
    ++offers;
    return static_cast<int>(syscall(SYS_sched_yield));
}

namespace {

TEST(Backlog, OfLessThanSixteenThousandLeavesTheProcessorToTheSender) {
    const OwnMailbox mailbox;
    std::thread([&mailbox] {
        send(mailbox.id(), kFarAhead - 1);
        EXPECT_EQ(offers, 0);
    }).join();
    ChildProcess sender([&mailbox](Channel&) {
        send(mailbox.id(), kFarAhead - 1);
        CHILD_CHECK(offers == 0);
        return kDone;
    });
    EXPECT_EQ(sender.wait(), kDone);
}

TEST(Backlog, OfMoreMakesAThreadOfferItsProcessorOncePerThousandMessages) {
    const OwnMailbox mailbox;
    std::thread([&mailbox] {
        send(mailbox.id(), kFarAhead + 3 * kMessagesPerOffer);
        EXPECT_EQ(offers, 4);
    }).join();
    receiveAll(kFarAhead + 3 * kMessagesPerOffer);
}

TEST(Backlog, OfMoreMakesAProcessOfferItsProcessorOncePerThousandMessages) {
    const OwnMailbox mailbox;
    ChildProcess sender([&mailbox](Channel&) {
        send(mailbox.id(), kFarAhead + 3 * kMessagesPerOffer);
        CHILD_CHECK(offers == 4);
        return kDone;
    });
    EXPECT_EQ(sender.wait(), kDone);
    receiveAll(kFarAhead + 3 * kMessagesPerOffer);
}

TEST(Backlog, ThatTheReceiverHasFetchedCountsNoMore) {
    const OwnMailbox mailbox;
    send(mailbox.id(), kFarAhead - 1);
    receiveAll(1);
    send(mailbox.id(), kFarAhead - 1);
    EXPECT_EQ(offers, 0);
}

}  // namespace
