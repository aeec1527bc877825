#include "locatorContractFixture.h"

#include <quoriaTest/childProcess.h>
#include <quoriaTest/traceCapture.h>

#include <signal.h>

namespace {

using QuoriaTest::ChildProcess;
using QuoriaTest::TraceCapture;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

// Another process that owns a mailbox, from the end of the constructor on.
class PeerProcess {
public:
    explicit PeerProcess(const std::string& mailboxName)
        : child_({PEER_ITCMAILBOXLOCATORPEER, mailboxName}),
          mailbox_(static_cast<unsigned int>(std::stoul(child_.readLine()))) {}
    ~PeerProcess() {
        if (!killed_) {
            child_.write("\n");
            EXPECT_EQ(child_.wait(), 0);
        }
    }
    PeerProcess(const PeerProcess&) = delete;
    PeerProcess& operator=(const PeerProcess&) = delete;

    unsigned int mailbox() const { return mailbox_; }

    void kill() {
        killed_ = true;
        child_.sendSignal(SIGKILL);
        EXPECT_EQ(child_.wait(), -SIGKILL);
    }

private:
    ChildProcess child_;
    const unsigned int mailbox_;
    bool killed_ = false;
};

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
