// Indications that come from other processes and that nobody waits for, or nobody any more.
#include "itcMailboxLocatorImpl.h"
#include "locatorContractFixture.h"
#include "peerProcess.h"

#include <quoriaTest/traceCapture.h>

#include <string>

namespace {

using Quoria::ItcMailboxLocator::V1::ItcMailboxLocatorImpl;
using QuoriaTest::PeerProcess;
using QuoriaTest::TraceCapture;
using testing::ElementsAre;
using testing::IsEmpty;

std::string unexpected(unsigned int identity) {
    return "Received locate indication with unexpected identity: " + std::to_string(identity);
}

class LocatorStale : public QuoriaTest::LocatorContractFixture {
protected:
    // Handles messages until so many errors have been traced.
    void runUntilTraced(std::size_t count) {
        while (trace_.messages("ERROR").size() < count) {
            runUntilIdle();
        }
    }

    const TraceCapture trace_{"ERROR"};
};

TEST_F(LocatorStale, AnIndicationThatNobodyAskedForIsReported) {
    PeerProcess peer("server");
    locator();

    peer.indicate(mailbox_, 0);
    peer.indicate(mailbox_, 4294967295);
    runUntilTraced(2);

    EXPECT_THAT(trace_.messages("ERROR"), ElementsAre(unexpected(0), unexpected(4294967295)));
}

TEST_F(LocatorStale, ASecondAnswerToARequestIsReportedAndCallsNobody) {
    PeerProcess peer("server");
    locate("server");
    runUntilFound(1);

    peer.indicate(mailbox_, 1);
    runUntilTraced(1);

    EXPECT_THAT(found_, ElementsAre(peer.mailbox()));
    EXPECT_THAT(trace_.messages("ERROR"), ElementsAre(unexpected(1)));
}

TEST_F(LocatorStale, AForgedAnswerIsTakenForTheRealOneWhichIsReported) {
    PeerProcess forger("forger");
    locate("server");
    forger.indicate(mailbox_, 1);
    runUntilFound(1);
    EXPECT_THAT(found_, ElementsAre(forger.mailbox()));

    const PeerProcess peer("server");
    runUntilTraced(1);

    EXPECT_THAT(found_, ElementsAre(forger.mailbox()));
    EXPECT_THAT(trace_.messages("ERROR"), ElementsAre(unexpected(1)));
}

TEST_F(LocatorStale, AnAnswerAfterAResetIsAnUnhandledMessage) {
    locate("server");
    ItcMailboxLocatorImpl::reset();

    const PeerProcess peer("server");
    runUntilTraced(1);

    EXPECT_THAT(
        trace_.messages("ERROR"),
        ElementsAre("Unhandled ITC message 0x1707090 from 'server' received in mailbox 'asker'"));
    EXPECT_THAT(found_, IsEmpty());
}

TEST_F(LocatorStale, AnAnswerFromBeforeAResetIsUnexpectedToTheNextLocator) {
    locate("server");
    ItcMailboxLocatorImpl::reset();
    locator();

    const PeerProcess peer("server");
    runUntilTraced(1);

    EXPECT_THAT(trace_.messages("ERROR"), ElementsAre(unexpected(1)));
    EXPECT_THAT(found_, IsEmpty());
}

TEST_F(LocatorStale, AnAnswerFromBeforeAResetGoesToTheRequestThatHasItsIdentityNow) {
    locate("old");
    ItcMailboxLocatorImpl::reset();
    locate("new");

    const PeerProcess oldPeer("old");
    runUntilFound(1);
    const PeerProcess newPeer("new");
    runUntilTraced(1);

    EXPECT_THAT(found_, ElementsAre(oldPeer.mailbox()));
    EXPECT_THAT(trace_.messages("ERROR"), ElementsAre(unexpected(1)));
}

TEST_F(LocatorStale, AResetOfManyPendingRequestsLeavesTheirAnswersUnhandledOneByOne) {
    for (int request = 0; request < 20; ++request) {
        locate("server");
    }
    ItcMailboxLocatorImpl::reset();

    const PeerProcess peer("server");
    runUntilTraced(20);
    runUntilIdle();

    EXPECT_EQ(trace_.messages("ERROR").size(), 20U);
    EXPECT_THAT(found_, IsEmpty());
}

}  // namespace
