#include "locatorContractFixture.h"
#include "peerProcess.h"

#include <quoriaTest/traceCapture.h>

namespace {

using QuoriaTest::PeerProcess;
using QuoriaTest::TraceCapture;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

class LocatorProcess : public QuoriaTest::LocatorContractFixture {};

TEST_F(LocatorProcess, AMailboxOfAnotherProcessIsFound) {
    const PeerProcess peer("server");

    locate("server");
    EXPECT_THAT(found_, IsEmpty());
    runUntilFound(1);

    EXPECT_THAT(found_, ElementsAre(peer.mailbox()));
}

TEST_F(LocatorProcess, AMailboxIsFoundWhoseProcessStartsAfterTheRequest) {
    locate("server");
    runUntilIdle();
    EXPECT_THAT(found_, IsEmpty());

    const PeerProcess peer("server");
    runUntilFound(1);

    EXPECT_THAT(found_, ElementsAre(peer.mailbox()));
}

TEST_F(LocatorProcess, ManyRequestsForTheNameOfAProcessThatStartsLaterAreEachAnsweredOnce) {
    for (int request = 0; request < 200; ++request) {
        locate("server");
    }

    const PeerProcess peer("server");
    runUntilFound(200);
    runUntilIdle();

    EXPECT_EQ(found_.size(), 200U);
    EXPECT_THAT(found_, Each(peer.mailbox()));
}

TEST_F(LocatorProcess, ANameThatEndedWithItsProcessIsFoundWithTheNextOneThatTakesIt) {
    { const PeerProcess ended("server"); }

    locate("server");
    runUntilIdle();
    EXPECT_THAT(found_, IsEmpty());

    const PeerProcess peer("server");
    runUntilFound(1);
    EXPECT_THAT(found_, ElementsAre(peer.mailbox()));
}

TEST_F(LocatorProcess, ANameThatWasKilledBeforeTheRequestIsFoundWithTheNextOneThatTakesIt) {
    PeerProcess killed("server");
    killed.kill();

    locate("server");
    runUntilIdle();
    EXPECT_THAT(found_, IsEmpty());

    const PeerProcess peer("server");
    runUntilFound(1);
    EXPECT_THAT(found_, ElementsAre(peer.mailbox()));
}

// The answer was on its way when its mailbox died; it stays the only one to this request.
TEST_F(LocatorProcess, ANameThatIsKilledBeforeTheAnswerIsHandledAndTakenAgainIsAnsweredOnce) {
    const TraceCapture trace({"ERROR"});
    locate("server");
    PeerProcess killed("server");
    killed.kill();
    const PeerProcess peer("server");
    ASSERT_NE(peer.mailbox(), killed.mailbox());

    runUntilFound(1);
    runUntilIdle();

    EXPECT_THAT(found_, ElementsAre(killed.mailbox()));
    EXPECT_THAT(trace.messages("ERROR"), IsEmpty());
}

TEST_F(LocatorProcess, ARequestAfterTheNameWasTakenAgainFindsTheLivingMailbox) {
    PeerProcess killed("server");
    locate("server");
    runUntilFound(1);
    killed.kill();
    const PeerProcess peer("server");

    locate("server");
    runUntilFound(2);

    EXPECT_THAT(found_, ElementsAre(killed.mailbox(), peer.mailbox()));
}

TEST_F(LocatorProcess, TheOldestOfSeveralMailboxesWithTheNameIsFound) {
    const PeerProcess older("server");
    const PeerProcess younger("server");

    locate("server");
    runUntilFound(1);

    EXPECT_THAT(found_, ElementsAre(older.mailbox()));
}

}  // namespace
