#include <quoria/itc/itcMessages.h>
#include <quoria/itc/itcOperations.h>

#include <gtest/gtest.h>

#include <poll.h>

#include <future>
#include <thread>

namespace {

namespace Itc = Quoria::Itc;

static_assert(Itc::kItcNoMailbox == ITC_NO_MAILBOX);
static_assert(Itc::kItcOwnMailbox == ITC_OWN_MAILBOX);
static_assert(Itc::kItcAnySender == ITC_ANY_SENDER);
static_assert(Itc::kItcNoWait == ITC_NO_WAIT);
static_assert(Itc::kItcWaitForever == ITC_WAIT_FOREVER);

bool isReadable(int fd) {
    pollfd entry{fd, POLLIN, 0};
    return poll(&entry, 1, 0) == 1;
}

void sendToSelf(std::uint32_t msgNo) {
    itc_msg* msg = Itc::alloc(4, msgNo);
    Itc::send(&msg, Itc::currentMailbox(), Itc::kItcOwnMailbox);
}

class ItcContract : public testing::Test {
protected:
    ItcContract() : mailbox_(Itc::createMailbox("own")) {}
    ~ItcContract() override { Itc::deleteMailbox(mailbox_); }

    const std::uint32_t mailbox_;
};

TEST_F(ItcContract, TheDescriptorIsReadableUntilTheQueueIsEmpty) {
    sendToSelf(0x77);
    sendToSelf(0x78);
    EXPECT_TRUE(isReadable(Itc::getFd()));

    Itc::wrap(Itc::receive(nullptr, Itc::kItcNoWait));
    EXPECT_TRUE(isReadable(Itc::getFd()));

    Itc::wrap(Itc::receive(nullptr, Itc::kItcNoWait));
    EXPECT_EQ(Itc::receive(nullptr, Itc::kItcNoWait), nullptr);
    EXPECT_FALSE(isReadable(Itc::getFd()));
}

TEST_F(ItcContract, AnEmptyQueueGivesNoMessage) {
    EXPECT_EQ(Itc::receive(nullptr, Itc::kItcNoWait), nullptr);
}

TEST_F(ItcContract, ABlockTellsTheSizeItWasAllocatedWith) {
    const std::shared_ptr<itc_msg> msg = Itc::wrap(Itc::alloc(12, 0x77));

    EXPECT_EQ(Itc::blockSize(msg.get()), 12U);
}

TEST_F(ItcContract, ALocateIndicationComesBackWithItsIdentityAndTheLocatedMailbox) {
    itc_msg* request = Itc::alloc(sizeof(Itc::LocateIndMsg), Itc::kLocateIndMsgNo);
    reinterpret_cast<Itc::LocateIndMsg*>(request)->identity = 5;

    Itc::locateAsync("own", &request);

    const auto indication = Itc::wrap(Itc::receive(nullptr, Itc::kItcWaitForever));
    EXPECT_EQ(indication->msgno, Itc::kLocateIndMsgNo);
    EXPECT_EQ(reinterpret_cast<Itc::LocateIndMsg*>(indication.get())->identity, 5U);
    EXPECT_EQ(Itc::sender(indication.get()), mailbox_);
}

TEST_F(ItcContract, AMonitorIndicationComesFromTheMailboxThatEnded) {
    std::promise<std::uint32_t> created;
    std::promise<void> mayEnd;
    std::thread peer([&created, &mayEnd] {
        created.set_value(Itc::createMailbox("peer"));
        mayEnd.get_future().wait();
    });
    const std::uint32_t peerMailbox = created.get_future().get();
    itc_msg* indication = Itc::alloc(sizeof(Itc::MonitorIndMsg), Itc::kMonitorIndMsgNo);
    Itc::monitor(peerMailbox, &indication);

    mayEnd.set_value();
    peer.join();

    const auto received = Itc::wrap(Itc::receive(nullptr, Itc::kItcWaitForever));
    EXPECT_EQ(received->msgno, Itc::kMonitorIndMsgNo);
    EXPECT_EQ(Itc::sender(received.get()), peerMailbox);
}

}  // namespace
