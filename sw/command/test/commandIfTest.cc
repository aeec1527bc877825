#include <quoria/command/commandIf.h>

#include <quoriaTest/rciAnswers.h>
#include <quoriaTest/traceCapture.h>

#include <gmock/gmock.h>

#include <cstddef>
#include <cstdlib>
#include <new>
#include <sstream>

namespace {

thread_local int allocations = 0;

}  // namespace

void* operator new(std::size_t size) {
    ++allocations;
    void* const memory = std::malloc(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

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

TEST_F(Command, IsMadeWithItsCountInOneAllocation) {
    const std::string name = "short";
    const int before = allocations;

    const std::shared_ptr<CommandIf> command = CommandIf::create(name);

    EXPECT_EQ(allocations, before + 1);
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

TEST_F(Command, LeavesNoTraceHoweverItEnds) {
    const QuoriaTest::TraceCapture trace;
    command_->execute({}, out_);  // a timeout
    ScriptedItc::queue(QuoriaTest::connectRej());
    command_->execute({}, out_);
    ScriptedItc::queue(QuoriaTest::connectCfm(9));
    ScriptedItc::queue(QuoriaTest::serverDown());
    command_->execute({}, out_);
    ScriptedItc::queue(QuoriaTest::connectCfm(9));
    ScriptedItc::queue(QuoriaTest::executeResult(1));
    ScriptedItc::queue(QuoriaTest::disconnectCfm());
    command_->execute({}, out_);
    ScriptedItc::setLocatedMailbox(0xFFFFFFFF);
    command_->execute({}, out_);

    EXPECT_EQ(ScriptedItc::sent().size(), 7U);
    EXPECT_THAT(trace.events(), IsEmpty());
}

TEST_F(Command, DisconnectsWhenItsArgumentsCannotBeSent) {
    ScriptedItc::queue(QuoriaTest::connectCfm(9));
    ScriptedItc::queue(QuoriaTest::disconnectCfm());

    EXPECT_EQ(command_->execute({std::string("\0", 1)}, out_), CommandTypes::Failed);

    EXPECT_EQ(ScriptedItc::sent().size(), 2U);
    EXPECT_EQ(ScriptedItc::sent()[1].msgno, 0x017070A7U);
}

}  // namespace
