#include <quoria/command/commandIf.h>

#include <quoriaTest/rciAnswers.h>

#include <gmock/gmock.h>

#include <sstream>

namespace {

namespace CommandTypes = Quoria::CommandTypes;
namespace ScriptedItc = QuoriaTest::ScriptedItc;
using Quoria::Command::V1::CommandIf;
using testing::ElementsAre;
using testing::IsEmpty;

class Command : public testing::Test {
protected:
    const std::shared_ptr<CommandIf> command_ = CommandIf::create("status");
    std::ostringstream out_;
};

TEST_F(Command, ContactsNobodyWhenItIsMade) {
    EXPECT_NE(command_, nullptr);
    EXPECT_THAT(ScriptedItc::calls(), IsEmpty());
}

TEST_F(Command, ConnectsExecutesAndDisconnects) {
    ScriptedItc::queue(QuoriaTest::connectCfm(9));
    ScriptedItc::queue(QuoriaTest::executeCfm());
    ScriptedItc::queue(QuoriaTest::output("fine"));
    ScriptedItc::queue(QuoriaTest::executeResult(2));
    ScriptedItc::queue(QuoriaTest::disconnectCfm());

    EXPECT_EQ(command_->execute({"now"}, out_), CommandTypes::InvalidArguments);

    EXPECT_EQ(out_.str(), "fine");
    EXPECT_THAT(ScriptedItc::calls(),
                ElementsAre("locate RCI:status", "send 0x17070a0", "monitor 0x32 with 0x17070a9",
                            "send 0x17070a3", "send 0x17070a7", "unmonitor 0x43"));
    EXPECT_EQ(ScriptedItc::blocksInUse(), 0U);
}

TEST_F(Command, ConnectsAnewForEachExecution) {
    for (int i = 0; i < 2; ++i) {
        ScriptedItc::queue(QuoriaTest::connectCfm(9));
        ScriptedItc::queue(QuoriaTest::executeResult(1));
        ScriptedItc::queue(QuoriaTest::disconnectCfm());
        EXPECT_EQ(command_->execute({}, out_), CommandTypes::Success);
    }

    EXPECT_EQ(ScriptedItc::sent().size(), 6U);
}

TEST_F(Command, FailsWhenItCannotConnect) {
    ScriptedItc::queue(QuoriaTest::connectRej());

    EXPECT_EQ(command_->execute({}, out_), CommandTypes::Failed);

    EXPECT_EQ(out_.str(),
              "Connect rejected by server. Client's supported protocol revision is 1\n");
    EXPECT_EQ(ScriptedItc::sent().size(), 1U);
}

TEST_F(Command, FailsWithoutADisconnectWhenTheServerGoes) {
    ScriptedItc::queue(QuoriaTest::connectCfm(9));
    ScriptedItc::queue(QuoriaTest::serverDown());

    EXPECT_EQ(command_->execute({}, out_), CommandTypes::Failed);

    EXPECT_EQ(out_.str(), "Lost connection to server\n");
    EXPECT_EQ(ScriptedItc::sent().size(), 2U);
}

TEST_F(Command, DisconnectsWhenItsArgumentsCannotBeSent) {
    ScriptedItc::queue(QuoriaTest::connectCfm(9));
    ScriptedItc::queue(QuoriaTest::disconnectCfm());

    EXPECT_EQ(command_->execute({std::string("\0", 1)}, out_), CommandTypes::Failed);

    EXPECT_EQ(ScriptedItc::sent().size(), 2U);
    EXPECT_EQ(ScriptedItc::sent()[1].msgno, 0x017070A7U);
}

}  // namespace
