#include <quoria/itc/itcMessages.h>
#include <quoria/itc/itcOperations.h>
#include <quoriaTest/fakeItc.h>

#include <gmock/gmock.h>

namespace {

namespace FakeItc = QuoriaTest::FakeItc;
namespace Itc = Quoria::Itc;

using testing::ElementsAre;

class ItcOperations : public testing::Test {
protected:
    ItcOperations() { FakeItc::reset(); }
};

TEST_F(ItcOperations, MailboxCallsPassTheirArgumentsOn) {
    Itc::createMailbox("box");
    Itc::currentMailbox();
    Itc::getFd();
    Itc::addName(0x11, "alias");
    Itc::locate("peer");
    char buffer[64];
    Itc::getName(0x12, buffer, sizeof buffer);
    Itc::deleteMailbox(0x11);

    EXPECT_THAT(FakeItc::takeCalls(),
                ElementsAre("itc_create_mailbox(\"box\", 0)", "itc_current_mbox()", "itc_get_fd()",
                            "itc_add_name(0x11, \"alias\")", "itc_locate(\"peer\")",
                            "itc_get_name(0x12, buffer, 64)", "itc_delete_mailbox(0x11)"));
}

TEST_F(ItcOperations, MessageCallsPassTheirArgumentsOn) {
    itc_msg* sent = Itc::alloc(12, 0x77);
    Itc::send(&sent, 0x13, Itc::kItcOwnMailbox);
    itc_msg* freed = Itc::alloc(4, 0x78);
    Itc::sender(freed);
    Itc::free(&freed);
    const std::uint32_t filter[] = {1, 0x77};
    Itc::receive(filter, 15000);

    EXPECT_THAT(
        FakeItc::takeCalls(),
        ElementsAre("itc_alloc(12, 0x77)", "itc_send(0x77, 0x13, 0xfff00000)", "itc_alloc(4, 0x78)",
                    "itc_sender(0x78)", "itc_free(0x78)", "itc_receive(1, 15000, 0xfff11111)"));
    EXPECT_EQ(freed, nullptr);
}

TEST_F(ItcOperations, IndicationCallsPassTheirArgumentsOn) {
    itc_msg* locateInd = Itc::alloc(sizeof(Itc::LocateIndMsg), Itc::kLocateIndMsgNo);
    Itc::locateAsync("peer", &locateInd);
    itc_msg* monitorInd = Itc::alloc(sizeof(Itc::MonitorIndMsg), Itc::kMonitorIndMsgNo);
    const std::uint32_t monitor = Itc::monitor(0x14, &monitorInd);
    Itc::unmonitor(monitor);

    EXPECT_THAT(
        FakeItc::takeCalls(),
        ElementsAre("itc_alloc(8, 0x1707090)", "itc_locate_async(\"peer\", 0x1707090, 0xfff00000)",
                    "itc_alloc(4, 0x1707091)", "itc_monitor(0x14, 0x1707091)",
                    "itc_unmonitor(101)"));
}

TEST_F(ItcOperations, ASizeThatDoesNotFitIsRefusedAndNotCut) {
    const std::size_t fourGigabytesAndABit = (std::size_t{1} << 32) + 8;

    EXPECT_EQ(Itc::alloc(fourGigabytesAndABit, 0x77), nullptr);
}

TEST_F(ItcOperations, TheSizeOfABlockIsUnknownIfLibitcCannotTell) {
    const std::shared_ptr<itc_msg> msg = Itc::wrap(Itc::alloc(12, 0x77));

    EXPECT_EQ(Itc::blockSize(msg.get()), Itc::kUnknownSize);
}

}  // namespace
