// locatorContractFixture.h: a mailbox locator whose thread owns the mailbox "asker".
//
// Test support.
#ifndef QUORIA_ITCMAILBOXLOCATOR_TEST_LOCATORCONTRACTFIXTURE_H
#define QUORIA_ITCMAILBOXLOCATOR_TEST_LOCATORCONTRACTFIXTURE_H

#include <quoria/eventLoop/eventLoopIf.h>
#include <quoria/itc/itcMessages.h>
#include <quoria/itc/itcOperations.h>
#include <quoria/itcMailboxLocator/itcMailboxLocatorIf.h>
#include <quoria/itcMessageSubscription/itcMessageSubscriptionIf.h>

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace QuoriaTest {

class LocatorContractFixture : public testing::Test {
protected:
    using EventLoop = Quoria::EventLoop::V1::EventLoopIf;
    using Locator = Quoria::ItcMailboxLocator::V1::ItcMailboxLocatorIf;
    using Subscription = Quoria::ItcMessageSubscription::V1::ItcMessageSubscriptionIf;

    static constexpr unsigned int kStopMsgNo = 0x1001;

    LocatorContractFixture() : mailbox_(Quoria::Itc::createMailbox("asker")) {
        Subscription& subscription = Subscription::getInstance();
        subscription.addMsgHandler(kStopMsgNo, [](const auto&) { stop(); });
        subscription.monitorItcFd(Quoria::Itc::getFd());
    }
    // The thread's instances and its mailbox go with the thread; each test has a process of its
    // own.

    static Locator& locator() { return Locator::getInstance(); }
    static void stop() { EventLoop::getInstance()->stop(); }
    static void runUntilStopped() { EXPECT_EQ(EventLoop::getInstance()->run(), EventLoop::OK); }

    // Asks for `name` and notes the mailbox in found_.
    void locate(const std::string& name) {
        locator().locate(name, [this](unsigned int mailbox) { note(mailbox); });
    }
    void note(unsigned int mailbox) {
        found_.push_back(mailbox);
        if (found_.size() == wanted_) {
            stop();
        }
    }
    // Handles messages until found_ has so many entries. Answers of different senders come in no
    // particular order, so one answer says nothing about another.
    void runUntilFound(std::size_t count) {
        wanted_ = count;
        if (found_.size() < count) {
            runUntilStopped();
        }
    }
    // Handles everything that is queued already.
    void runUntilIdle() {
        itc_msg* msg = Quoria::Itc::alloc(4, kStopMsgNo);
        Quoria::Itc::send(&msg, mailbox_, Quoria::Itc::kItcOwnMailbox);
        runUntilStopped();
    }

    const unsigned int mailbox_;
    std::vector<unsigned int> found_;
    std::size_t wanted_ = 0;
};

}  // namespace QuoriaTest

#endif
