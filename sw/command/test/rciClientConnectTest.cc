#include "rciClient.h"

#include <quoriaTest/flushCounter.h>
#include <quoriaTest/rciAnswers.h>

#include <gmock/gmock.h>

#include <sstream>

namespace {

namespace ScriptedItc = QuoriaTest::ScriptedItc;
using Quoria::Command::Backend::RciClient;
using QuoriaTest::Bytes;
using QuoriaTest::SentMessage;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint32_t kNone = 0xFFFFFFFF;

// Reaches what a client knows of its server, only part of which shows in what it sends.
template <std::uint32_t RciClient::*Mailbox, std::uint32_t RciClient::*Revision,
          std::uint32_t RciClient::*ConnectionRef, std::uint32_t RciClient::*MonitorId>
struct ServerAccess {
    friend std::vector<std::uint32_t> serverOf(const RciClient& client) {
        return {client.*Mailbox, client.*Revision, client.*ConnectionRef, client.*MonitorId};
    }
};
std::vector<std::uint32_t> serverOf(const RciClient& client);
template struct ServerAccess<&RciClient::serverMailbox_, &RciClient::revision_,
                             &RciClient::connectionRef_, &RciClient::monitorId_>;

class RciClientConnecting : public testing::Test {
protected:
    bool connect() { return client_.connectToServer(out_); }

    RciClient client_{"status"};
    std::ostringstream out_;
};

TEST_F(RciClientConnecting, IsNotConnectedToBeginWith) {
    EXPECT_FALSE(client_.isConnected());
    EXPECT_THAT(ScriptedItc::calls(), IsEmpty());
}

TEST_F(RciClientConnecting, KnowsNothingOfAServerToBeginWith) {
    EXPECT_THAT(serverOf(client_), ElementsAre(kNone, 0U, 0U, kNone));
}

TEST_F(RciClientConnecting, KeepsWhatItLearnsOfTheServerUntilItIsReset) {
    ScriptedItc::queue(Bytes().word(0x017070A1).word(1).word(9).word(3));
    connect();
    EXPECT_THAT(serverOf(client_),
                ElementsAre(ScriptedItc::kLocatedMailbox, 3U, 9U, ScriptedItc::kMonitorId));
    const std::vector<std::string> before = ScriptedItc::calls();

    client_.reset();

    EXPECT_THAT(serverOf(client_), ElementsAre(kNone, 0U, 0U, kNone));
    EXPECT_EQ(ScriptedItc::calls(), before);
}

TEST_F(RciClientConnecting, KeepsTheMailboxAloneOfAServerThatRejects) {
    ScriptedItc::queue(QuoriaTest::connectRej());

    connect();

    EXPECT_THAT(serverOf(client_), ElementsAre(ScriptedItc::kLocatedMailbox, 0U, 0U, kNone));
}

TEST_F(RciClientConnecting, HandsItcAnIndicationOfFourBytes) {
    ScriptedItc::queue(QuoriaTest::connectCfm(9));

    connect();

    EXPECT_THAT(ScriptedItc::indications(), ElementsAre(Bytes().word(0x017070A9).get()));
}

TEST_F(RciClientConnecting, TakesAConfirmForItsOwnWhateverRequestThatNames) {
    ScriptedItc::queue(Bytes().word(0x017070A1).word(77).word(9).word(1), 0x99);

    EXPECT_TRUE(connect());
}

TEST_F(RciClientConnecting, KeepsThatThereIsNoMailboxInPlaceOfOneThatItHad) {
    connect();  // a timeout
    EXPECT_TRUE(client_.isConnected());
    ScriptedItc::setLocatedMailbox(kNone);

    EXPECT_FALSE(connect());

    EXPECT_FALSE(client_.isConnected());
    EXPECT_THAT(serverOf(client_), ElementsAre(kNone, 0U, 0U, kNone));
}

TEST_F(RciClientConnecting, FlushesEachLineThatItWrites) {
    QuoriaTest::FlushCounter buffer;
    std::ostream out(&buffer);

    client_.connectToServer(out);  // a timeout
    EXPECT_EQ(buffer.flushes(), 1);

    ScriptedItc::queue(QuoriaTest::connectRej());
    client_.connectToServer(out);
    EXPECT_EQ(buffer.flushes(), 2);

    ScriptedItc::setLocatedMailbox(kNone);
    client_.connectToServer(out);
    EXPECT_EQ(buffer.flushes(), 3);
}

TEST_F(RciClientConnecting, LocatesAsksAndMonitorsInThisOrder) {
    ScriptedItc::queue(QuoriaTest::connectCfm(9));

    EXPECT_TRUE(connect());

    EXPECT_TRUE(client_.isConnected());
    EXPECT_THAT(ScriptedItc::calls(),
                ElementsAre("locate RCI:status", "send 0x17070a0", "monitor 0x32 with 0x17070a9"));
    EXPECT_EQ(out_.str(), "");
    EXPECT_EQ(ScriptedItc::blocksInUse(), 0U);
}

TEST_F(RciClientConnecting, AsksForTheCommandWithItsOnlyRevision) {
    ScriptedItc::queue(QuoriaTest::connectCfm(9));

    connect();

    const SentMessage request = ScriptedItc::sent().at(0);
    EXPECT_EQ(request.receiver, ScriptedItc::kLocatedMailbox);
    EXPECT_EQ(request.sender, 0xFFF00000U);
    EXPECT_EQ(request.bytes, Bytes()
                                 .word(0x017070A0)
                                 .word(1)
                                 .word(1)
                                 .word(1)
                                 .word(1)
                                 .word(6)
                                 .text("status")
                                 .text(std::string(4, '\0'))
                                 .get());
}

TEST_F(RciClientConnecting, WaitsFor15SecondsForAnAnswerFromAnySender) {
    connect();

    ASSERT_EQ(ScriptedItc::receiveCalls().size(), 1U);
    const auto call = ScriptedItc::receiveCalls()[0];
    EXPECT_THAT(call.filter, ElementsAre(0x017070A1, 0x017070A2));
    EXPECT_EQ(call.timeout, 15000U);
    EXPECT_EQ(call.from, 0xFFF11111U);
}

TEST_F(RciClientConnecting, TellsOfATimeout) {
    EXPECT_FALSE(connect());

    EXPECT_EQ(out_.str(), "Timeout when connecting to command handler: status\n");
}

TEST_F(RciClientConnecting, TellsOfAReject) {
    ScriptedItc::queue(QuoriaTest::connectRej());

    EXPECT_FALSE(connect());

    EXPECT_EQ(out_.str(),
              "Connect rejected by server. Client's supported protocol revision is 1\n");
    EXPECT_THAT(ScriptedItc::calls(), ElementsAre("locate RCI:status", "send 0x17070a0"));
    EXPECT_EQ(ScriptedItc::blocksInUse(), 0U);
}

TEST_F(RciClientConnecting, TellsThatNobodyServesTheCommand) {
    ScriptedItc::setLocatedMailbox(0xFFFFFFFF);

    EXPECT_FALSE(connect());

    EXPECT_EQ(out_.str(), "No handler found for command: status\n");
    EXPECT_FALSE(client_.isConnected());
    EXPECT_THAT(ScriptedItc::calls(), ElementsAre("locate RCI:status"));
}

TEST_F(RciClientConnecting, FindsNoCommandWhoseNameHoldsANul) {
    RciClient client(std::string("sta\0tus", 7));

    EXPECT_FALSE(client.connectToServer(out_));

    EXPECT_EQ(out_.str(), std::string("No handler found for command: sta\0tus\n", 38));
    EXPECT_THAT(ScriptedItc::calls(), IsEmpty());
}

TEST_F(RciClientConnecting, CountsAsConnectedAfterAFailureUntilItIsReset) {
    ScriptedItc::queue(QuoriaTest::connectRej());
    connect();
    EXPECT_TRUE(client_.isConnected());

    client_.reset();
    EXPECT_FALSE(client_.isConnected());

    connect();  // a timeout this time
    EXPECT_TRUE(client_.isConnected());
}

TEST_F(RciClientConnecting, MayConnectAgainAfterAReset) {
    connect();
    client_.reset();
    ScriptedItc::queue(QuoriaTest::connectCfm(9));

    EXPECT_TRUE(connect());
}

TEST_F(RciClientConnecting, SendsNothingFromAThreadWithoutAMailbox) {
    ScriptedItc::setCurrentMailbox(0xFFFFFFFF);

    EXPECT_FALSE(connect());

    EXPECT_EQ(out_.str(), "The calling thread has no mailbox to run command: status\n");
    EXPECT_FALSE(client_.isConnected());
    EXPECT_THAT(ScriptedItc::sent(), IsEmpty());
    EXPECT_THAT(ScriptedItc::receiveCalls(), IsEmpty());
}

TEST_F(RciClientConnecting, TellsOfAConfirmThatIsTooShort) {
    ScriptedItc::queue(Bytes().word(0x017070A1).word(1).word(9));

    EXPECT_FALSE(connect());

    EXPECT_EQ(out_.str(), "Malformed answer from command handler: status\n");
    EXPECT_FALSE(client_.isConnected());
    EXPECT_EQ(ScriptedItc::blocksInUse(), 0U);
}

TEST_F(RciClientConnecting, TellsThatThereIsNoMemoryForTheRequest) {
    ScriptedItc::failAlloc(0x017070A0);

    EXPECT_FALSE(connect());

    EXPECT_EQ(out_.str(), "No memory left to run command: status\n");
    EXPECT_FALSE(client_.isConnected());
}

TEST_F(RciClientConnecting, TellsThatThereIsNoMemoryToMonitorTheServer) {
    ScriptedItc::failAlloc(0x017070A9);
    ScriptedItc::queue(QuoriaTest::connectCfm(9));

    EXPECT_FALSE(connect());

    EXPECT_EQ(out_.str(), "No memory left to run command: status\n");
    EXPECT_FALSE(client_.isConnected());
}

TEST_F(RciClientConnecting, LeavesOtherMessagesInTheMailbox) {
    ScriptedItc::queue(Bytes().word(0x77));
    ScriptedItc::queue(QuoriaTest::connectCfm(9));

    EXPECT_TRUE(connect());

    EXPECT_EQ(ScriptedItc::blocksInUse(), 1U);
}

}  // namespace
