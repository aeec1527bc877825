#include <quoria/itc/itcOperations.h>
#include <quoriaTest/fakeItc.h>

#include <gmock/gmock.h>

#include <stdexcept>

namespace {

namespace FakeItc = QuoriaTest::FakeItc;
namespace Itc = Quoria::Itc;

using testing::ElementsAre;

class ItcMsgOwnership : public testing::Test {
protected:
    ItcMsgOwnership() { FakeItc::reset(); }

    static std::shared_ptr<itc_msg> receive() {
        FakeItc::queueMessage(0x77, 2);
        return Itc::wrap(Itc::receive(nullptr, Itc::kItcNoWait));
    }
};

TEST_F(ItcMsgOwnership, TheBlockIsFreedWhenItsOnlyPointerGoes) {
    receive();

    EXPECT_EQ(FakeItc::blocksInUse(), 0U);
    EXPECT_EQ(FakeItc::blocksFreed(), 1U);
}

TEST_F(ItcMsgOwnership, AKeptPointerKeepsTheBlockUntilTheLastCopyGoes) {
    std::shared_ptr<itc_msg> kept;
    {
        const std::shared_ptr<itc_msg> msg = receive();
        kept = msg;
    }
    EXPECT_EQ(FakeItc::blocksFreed(), 0U);
    EXPECT_EQ(kept->msgno, 0x77U);

    kept.reset();

    EXPECT_EQ(FakeItc::blocksFreed(), 1U);
    EXPECT_THAT(FakeItc::takeCallsOf("itc_free"), ElementsAre("itc_free(0x77)"));
}

TEST_F(ItcMsgOwnership, TheBlockIsFreedWhenAnExceptionPasses) {
    const auto handle = [] {
        const std::shared_ptr<itc_msg> msg = receive();
        throw std::runtime_error("handler failed");
    };

    EXPECT_THROW(handle(), std::runtime_error);

    EXPECT_EQ(FakeItc::blocksFreed(), 1U);
}

TEST_F(ItcMsgOwnership, ABlockThatWasSentIsNotTheCallersAnyMore) {
    itc_msg* msg = Itc::alloc(4, 0x77);

    Itc::send(&msg, 2, Itc::kItcOwnMailbox);

    EXPECT_EQ(msg, nullptr);
}

}  // namespace
