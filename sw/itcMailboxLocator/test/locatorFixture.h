// locatorFixture.h: a mailbox locator on a libitc that the test controls.
//
// Test support.
#ifndef QUORIA_ITCMAILBOXLOCATOR_TEST_LOCATORFIXTURE_H
#define QUORIA_ITCMAILBOXLOCATOR_TEST_LOCATORFIXTURE_H

#include "itcMailboxLocatorImpl.h"
#include "itcMessageSubscriptionImpl.h"
#include "locateBlocks.h"

#include <quoriaTest/fakeItc.h>

#include <gmock/gmock.h>

#include <string>
#include <utility>
#include <vector>

namespace QuoriaTest {

constexpr unsigned int kFound = 0x11;
constexpr unsigned int kOtherFound = 0x12;

class LocatorFixture : public testing::Test {
protected:
    using Locator = Quoria::ItcMailboxLocator::V1::ItcMailboxLocatorImpl;
    using Subscription = Quoria::ItcMessageSubscription::V1::ItcMessageSubscriptionImpl;
    using Answer = std::pair<std::string, unsigned int>;

    LocatorFixture() {
        FakeItc::reset();
        LocateBlocks::reset();
    }
    ~LocatorFixture() override {
        Locator::reset();
        Subscription::reset();
    }

    static Locator& locator() { return Locator::getInstance(); }

    // Asks for `name` and notes the answer in answers_.
    void locate(const std::string& name) {
        locator().locate(
            name, [this, name](unsigned int mailbox) { answers_.emplace_back(name, mailbox); });
    }

    // Lets an indication arrive and hands it to the subscription.
    static void indicate(unsigned int identity, unsigned int mailbox, std::size_t size = 8) {
        LocateBlocks::queueIndication(identity, mailbox, size);
        Subscription::getInstance().handleFdEvent();
    }

    std::vector<Answer> answers_;
};

}  // namespace QuoriaTest

#endif
