#include "rciClient.h"

#include <quoriaTest/flushCounter.h>
#include <quoriaTest/rciAnswers.h>

#include <gmock/gmock.h>

#include <sstream>

namespace {

namespace CommandTypes = Quoria::CommandTypes;
namespace ScriptedItc = QuoriaTest::ScriptedItc;
using CommandTypes::CommandResultCode;
using Quoria::Command::Backend::RciClient;
using QuoriaTest::Bytes;
using QuoriaTest::SentMessage;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

class RciClientExecuting : public testing::Test {
protected:
    RciClientExecuting() {
        ScriptedItc::queue(QuoriaTest::connectCfm(9));
        EXPECT_TRUE(client_.connectToServer(out_));
    }

    CommandResultCode execute(const std::vector<std::string>& args = {}) {
        return client_.executeRemoteCmd(args, out_);
    }

    CommandResultCode executeWithResult(std::uint32_t result) {
        ScriptedItc::queue(QuoriaTest::executeResult(result));
        return execute();
    }

    RciClient client_{"status"};
    std::ostringstream out_;
};
using RciClientDisconnecting = RciClientExecuting;

TEST_F(RciClientExecuting, SendsTheArgumentsOverItsConnection) {
    ScriptedItc::queue(QuoriaTest::executeResult(1));

    execute({"on", "", "\xFF\n"});

    const SentMessage request = ScriptedItc::sent().at(1);
    EXPECT_EQ(request.receiver, ScriptedItc::kLocatedMailbox);
    EXPECT_EQ(request.sender, 0xFFF00000U);
    EXPECT_EQ(request.bytes, Bytes()
                                 .word(0x017070A3)
                                 .word(1)
                                 .word(9)
                                 .word(3)
                                 .text(std::string("on\0\0\xFF\n\0\0\0\0\0", 11))
                                 .get());
}

TEST_F(RciClientExecuting, Sends20BytesWithoutArguments) {
    executeWithResult(1);

    EXPECT_EQ(ScriptedItc::sent().at(1).bytes.size(), 20U);
    EXPECT_EQ(ScriptedItc::sent().at(1).wordAt(12), 0U);
}

TEST_F(RciClientExecuting, WaitsWithoutALimitForAnswersFromAnySender) {
    executeWithResult(1);

    const auto call = ScriptedItc::receiveCalls().at(1);
    EXPECT_THAT(call.filter, ElementsAre(0x017070A4, 0x017070A6, 0x017070A5, 0x017070A9));
    EXPECT_EQ(call.timeout, 0xFFFFFFFFU);
    EXPECT_EQ(call.from, 0xFFF11111U);
}

TEST_F(RciClientExecuting, MapsTheResult) {
    EXPECT_EQ(executeWithResult(1), CommandTypes::Success);
    EXPECT_EQ(executeWithResult(2), CommandTypes::InvalidArguments);
    EXPECT_EQ(executeWithResult(3), CommandTypes::Failed);
}

TEST_F(RciClientExecuting, TakesAnyOtherResultForAFailure) {
    EXPECT_EQ(executeWithResult(0), CommandTypes::Failed);
    EXPECT_EQ(executeWithResult(7), CommandTypes::Failed);
    EXPECT_EQ(executeWithResult(0xFFFFFFFF), CommandTypes::Failed);
}

TEST_F(RciClientExecuting, WritesTheOutputAsItComesWithNothingBetween) {
    ScriptedItc::queue(QuoriaTest::executeCfm());
    ScriptedItc::queue(QuoriaTest::output("one "));
    ScriptedItc::queue(QuoriaTest::output("two"));
    ScriptedItc::queue(QuoriaTest::output("\nthree"));

    EXPECT_EQ(executeWithResult(1), CommandTypes::Success);

    EXPECT_EQ(out_.str(), "one two\nthree");
    EXPECT_EQ(ScriptedItc::blocksInUse(), 0U);
}

TEST_F(RciClientExecuting, FlushesNoOutputButTheLineAboutALostServer) {
    QuoriaTest::FlushCounter buffer;
    std::ostream out(&buffer);
    ScriptedItc::queue(QuoriaTest::output("one\n"));
    ScriptedItc::queue(QuoriaTest::executeResult(1));
    client_.executeRemoteCmd({}, out);
    EXPECT_EQ(buffer.flushes(), 0);

    ScriptedItc::queue(QuoriaTest::serverDown());
    client_.executeRemoteCmd({}, out);

    EXPECT_EQ(buffer.flushes(), 1);
}

TEST_F(RciClientExecuting, TakesAnswersForItsOwnWhateverRequestTheyName) {
    ScriptedItc::queue(Bytes().word(0x017070A4).word(77).word(78), 0x99);
    ScriptedItc::queue(Bytes().word(0x017070A6).word(77).word(78).word(2).text("ok"), 0x99);
    ScriptedItc::queue(Bytes().word(0x017070A5).word(77).word(78).word(2), 0x99);

    EXPECT_EQ(execute(), CommandTypes::InvalidArguments);

    EXPECT_EQ(out_.str(), "ok");
}

TEST_F(RciClientExecuting, WritesAnyByteValueAndNothingForAnEmptyOutput) {
    const std::string text("\0\xFF\n", 3);
    ScriptedItc::queue(QuoriaTest::output(""));
    ScriptedItc::queue(QuoriaTest::output(text));

    executeWithResult(1);

    EXPECT_EQ(out_.str(), text);
}

TEST_F(RciClientExecuting, DoesNotMissTheConfirm) {
    EXPECT_EQ(executeWithResult(1), CommandTypes::Success);
}

TEST_F(RciClientExecuting, MayExecuteAgainOnTheSameConnection) {
    executeWithResult(1);

    EXPECT_EQ(executeWithResult(2), CommandTypes::InvalidArguments);
    EXPECT_EQ(ScriptedItc::sent().at(2).wordAt(8), 9U);
}

TEST_F(RciClientExecuting, TellsThatTheServerHasGoneBehindTheOutputSoFar) {
    ScriptedItc::queue(QuoriaTest::output("half a li"));
    ScriptedItc::queue(QuoriaTest::serverDown());

    EXPECT_EQ(execute(), CommandTypes::Failed);

    EXPECT_EQ(out_.str(), "half a liLost connection to server\n");
    EXPECT_FALSE(client_.isConnected());
    EXPECT_EQ(ScriptedItc::blocksInUse(), 0U);
}

TEST_F(RciClientExecuting, SendsNoDisconnectToAServerThatHasGone) {
    ScriptedItc::queue(QuoriaTest::serverDown());
    execute();

    client_.disconnectFromServer();

    EXPECT_EQ(ScriptedItc::sent().size(), 2U);
    EXPECT_THAT(ScriptedItc::calls(), Not(Contains("unmonitor 0x43")));
}

TEST_F(RciClientExecuting, GivesUpWhenItsMailboxHasGone) {
    EXPECT_EQ(execute(), CommandTypes::Failed);

    EXPECT_EQ(out_.str(), "Lost connection to server\n");
    EXPECT_FALSE(client_.isConnected());
}

TEST_F(RciClientExecuting, SendsNoArgumentThatHoldsANul) {
    EXPECT_EQ(execute({"on", std::string("o\0ff", 4)}), CommandTypes::Failed);

    EXPECT_EQ(out_.str(), "An argument holds a NUL byte, which can't be sent to command: status\n");
    EXPECT_EQ(ScriptedItc::sent().size(), 1U);
    EXPECT_TRUE(client_.isConnected());
}

TEST_F(RciClientExecuting, SendsNoArgumentsThatAreTooLongForAMessage) {
    ScriptedItc::failAlloc(0x017070A3);

    EXPECT_EQ(execute({std::string(1000, 'x')}), CommandTypes::Failed);

    EXPECT_EQ(out_.str(), "The arguments are too long to be sent to command: status\n");
    EXPECT_TRUE(client_.isConnected());
}

TEST_F(RciClientExecuting, TellsThatThereIsNoMemoryForTheArguments) {
    ScriptedItc::failAlloc(0x017070A3);

    EXPECT_EQ(execute({"on"}), CommandTypes::Failed);

    EXPECT_EQ(out_.str(), "No memory left to run command: status\n");
}

TEST_F(RciClientExecuting, WritesOfAnOutputThatIsShorterThanItSaysWhatThereIs) {
    ScriptedItc::queue(Bytes().word(0x017070A6).word(1).word(1).word(0xFFFFFFFF).text("abc"));
    ScriptedItc::queue(Bytes().word(0x017070A6).word(1).word(1).text("ab"));
    ScriptedItc::queue(Bytes().word(0x017070A6));

    EXPECT_EQ(executeWithResult(1), CommandTypes::Success);

    EXPECT_EQ(out_.str(), "abc");
}

TEST_F(RciClientExecuting, TakesAResultThatIsTooShortForAFailure) {
    ScriptedItc::queue(Bytes().word(0x017070A5).word(1).word(1).text("\1"));

    EXPECT_EQ(execute(), CommandTypes::Failed);
}

TEST_F(RciClientDisconnecting, AsksWaitsAndStopsMonitoring) {
    ScriptedItc::queue(QuoriaTest::disconnectCfm());

    client_.disconnectFromServer();

    const SentMessage request = ScriptedItc::sent().at(1);
    EXPECT_EQ(request.bytes, Bytes().word(0x017070A7).word(1).word(9).get());
    EXPECT_EQ(request.receiver, ScriptedItc::kLocatedMailbox);
    EXPECT_EQ(request.sender, 0xFFF00000U);
    const auto call = ScriptedItc::receiveCalls().at(1);
    EXPECT_THAT(call.filter, ElementsAre(0x017070A8, 0x017070A9));
    EXPECT_EQ(call.timeout, 0xFFFFFFFFU);
    EXPECT_EQ(call.from, 0xFFF11111U);
    EXPECT_EQ(ScriptedItc::calls().back(), "unmonitor 0x43");
    EXPECT_FALSE(client_.isConnected());
    EXPECT_EQ(ScriptedItc::blocksInUse(), 0U);
}

TEST_F(RciClientDisconnecting, TakesAConfirmForItsOwnWhateverRequestThatNames) {
    ScriptedItc::queue(Bytes().word(0x017070A8).word(77).word(78), 0x99);

    client_.disconnectFromServer();

    EXPECT_EQ(ScriptedItc::blocksInUse(), 0U);
    EXPECT_FALSE(client_.isConnected());
}

TEST_F(RciClientDisconnecting, DoesNothingWithoutAConnection) {
    client_.reset();

    client_.disconnectFromServer();

    EXPECT_EQ(ScriptedItc::sent().size(), 1U);
    EXPECT_THAT(ScriptedItc::calls(), Not(Contains("unmonitor 0x43")));
}

TEST_F(RciClientDisconnecting, EndsWhenTheServerGoesInsteadOfAnswering) {
    ScriptedItc::queue(QuoriaTest::serverDown());

    client_.disconnectFromServer();

    EXPECT_EQ(out_.str(), "");
    EXPECT_THAT(ScriptedItc::calls(), Contains("unmonitor 0x43"));
    EXPECT_FALSE(client_.isConnected());
    EXPECT_EQ(ScriptedItc::blocksInUse(), 0U);
}

TEST_F(RciClientDisconnecting, LeavesNothingBehindOfAServerThatGoesAfterItsAnswer) {
    ScriptedItc::queue(QuoriaTest::disconnectCfm());
    ScriptedItc::queue(QuoriaTest::serverDown());

    client_.disconnectFromServer();

    EXPECT_EQ(ScriptedItc::blocksInUse(), 0U);
    EXPECT_EQ(ScriptedItc::receiveCalls().back().timeout, 0U);
}

TEST_F(RciClientDisconnecting, StopsMonitoringEvenWithoutMemoryForTheRequest) {
    ScriptedItc::failAlloc(0x017070A7);

    client_.disconnectFromServer();

    EXPECT_THAT(ScriptedItc::calls(), Contains("unmonitor 0x43"));
    EXPECT_FALSE(client_.isConnected());
}

TEST_F(RciClientDisconnecting, ForgetsNothingAboutTheServerWhenTheClientIsDestroyed) {
    {
        RciClient other("other");
        ScriptedItc::queue(QuoriaTest::connectCfm(10));
        other.connectToServer(out_);
    }

    EXPECT_EQ(ScriptedItc::sent().size(), 2U);
    EXPECT_THAT(ScriptedItc::calls(), Not(Contains("unmonitor 0x43")));
}

}  // namespace
