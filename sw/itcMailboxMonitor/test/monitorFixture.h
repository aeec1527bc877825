// monitorFixture.h: a mailbox monitor on a libitc that the test controls.
//
// Test support.
#ifndef QUORIA_ITCMAILBOXMONITOR_TEST_MONITORFIXTURE_H
#define QUORIA_ITCMAILBOXMONITOR_TEST_MONITORFIXTURE_H

#include "itcMailboxMonitorImpl.h"
#include "itcMessageSubscriptionImpl.h"

#include <quoriaTest/fakeItc.h>

#include <gmock/gmock.h>

#include <functional>
#include <vector>

namespace QuoriaTest {

constexpr unsigned int kPeer = 0x11;
constexpr unsigned int kOtherPeer = 0x12;

class MonitorFixture : public testing::Test {
protected:
    using Monitor = Quoria::ItcMailboxMonitor::V1::ItcMailboxMonitorImpl;
    using Subscription = Quoria::ItcMessageSubscription::V1::ItcMessageSubscriptionImpl;

    MonitorFixture() { FakeItc::reset(); }
    ~MonitorFixture() override {
        Monitor::reset();
        Subscription::reset();
    }

    static Monitor& monitor() { return Monitor::getInstance(); }

    // Watches `mailbox` and notes in told_ when it has gone. Returns the handle.
    unsigned int watch(unsigned int mailbox) {
        return monitor().monitor(mailbox, [this](unsigned int gone) { told_.push_back(gone); });
    }

    // Ends the mailbox and hands all indications that this brings to the subscription.
    static void endMailbox(unsigned int mailbox) {
        FakeItc::endMailbox(mailbox);
        receiveAll();
    }
    static void receiveAll() {
        while (FakeItc::messagesQueued() > 0) {
            Subscription::getInstance().handleFdEvent();
        }
    }

    std::vector<unsigned int> told_;
};

}  // namespace QuoriaTest

#endif
