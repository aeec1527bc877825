#include "rciMessage.h"

#include <quoriaTest/scriptedItc.h>

#include <gtest/gtest.h>

namespace {

using namespace Quoria::Command::Backend;
namespace Itc = Quoria::Itc;
namespace ScriptedItc = QuoriaTest::ScriptedItc;
using QuoriaTest::SentMessage;

// What the receiver gets of a message.
SentMessage sendAndLook(itc_msg* msg) {
    Itc::send(&msg, 2, 1);
    return ScriptedItc::sent().back();
}

TEST(RciMessageNumbers, FollowEachOther) {
    EXPECT_EQ(kRciConnectReqMsgNo, 0x017070A0U);
    EXPECT_EQ(kRciConnectCfmMsgNo, 0x017070A1U);
    EXPECT_EQ(kRciConnectRejMsgNo, 0x017070A2U);
    EXPECT_EQ(kRciExecuteReqMsgNo, 0x017070A3U);
    EXPECT_EQ(kRciExecuteCfmMsgNo, 0x017070A4U);
    EXPECT_EQ(kRciExecuteResultIndMsgNo, 0x017070A5U);
    EXPECT_EQ(kRciOutputIndMsgNo, 0x017070A6U);
    EXPECT_EQ(kRciDisconnectReqMsgNo, 0x017070A7U);
    EXPECT_EQ(kRciDisconnectCfmMsgNo, 0x017070A8U);
    EXPECT_EQ(kRciServerDownIndMsgNo, 0x017070A9U);
}

TEST(RciConnectReq, IsTheHeadOneRevisionTheNameAndFourSpareBytes) {
    const SentMessage message = sendAndLook(buildRciConnectReq(5, 6, "status"));

    EXPECT_EQ(message.bytes.size(), 28U + 6U);
    EXPECT_EQ(message.wordAt(0), 0x017070A0U);
    EXPECT_EQ(message.wordAt(4), 5U);
    EXPECT_EQ(message.wordAt(8), 6U);
    EXPECT_EQ(message.wordAt(12), 1U);  // revisions
    EXPECT_EQ(message.wordAt(16), 1U);  // the revision
    EXPECT_EQ(message.wordAt(20), 6U);
    EXPECT_EQ(message.textAt(24, 6), "status");
}

TEST(RciConnectReq, WithAnEmptyNameIs28Bytes) {
    const SentMessage message = sendAndLook(buildRciConnectReq(1, 1, ""));

    EXPECT_EQ(message.bytes.size(), 28U);
    EXPECT_EQ(message.wordAt(20), 0U);
}

TEST(RciExecuteReq, IsTheHeadTheTerminatedArgumentsAndFourSpareBytes) {
    const SentMessage message = sendAndLook(buildRciExecuteReq(5, 7, {"on", "", "off"}));

    EXPECT_EQ(message.bytes.size(), 20U + 5U + 3U);
    EXPECT_EQ(message.wordAt(0), 0x017070A3U);
    EXPECT_EQ(message.wordAt(4), 5U);
    EXPECT_EQ(message.wordAt(8), 7U);
    EXPECT_EQ(message.wordAt(12), 3U);
    EXPECT_EQ(message.textAt(16, 8), std::string("on\0\0off\0", 8));
}

TEST(RciExecuteReq, WithoutArgumentsIs20Bytes) {
    const SentMessage message = sendAndLook(buildRciExecuteReq(1, 7, {}));

    EXPECT_EQ(message.bytes.size(), 20U);
    EXPECT_EQ(message.wordAt(12), 0U);
}

TEST(RciExecuteReq, IsAsLongAsItsSizeIsForetold) {
    EXPECT_EQ(sizeOfRciExecuteReq({}), 20U);
    EXPECT_EQ(sizeOfRciExecuteReq({"on", "", "off"}), 28U);
}

TEST(RciOutputInd, IsTheHeadTheTextAndFourSpareBytes) {
    const SentMessage message = sendAndLook(buildRciOutputInd(5, 6, "a\0b", 3));

    EXPECT_EQ(message.bytes.size(), 20U + 3U);
    EXPECT_EQ(message.wordAt(0), 0x017070A6U);
    EXPECT_EQ(message.wordAt(4), 5U);
    EXPECT_EQ(message.wordAt(8), 6U);
    EXPECT_EQ(message.wordAt(12), 3U);
    EXPECT_EQ(message.textAt(16, 3), std::string("a\0b", 3));
}

TEST(RciMessage, SendsNothingInItsSpareBytesThatTheBlockHeldBefore) {
    EXPECT_EQ(sendAndLook(buildRciConnectReq(1, 1, "x")).textAt(25, 4), std::string(4, '\0'));
    EXPECT_EQ(sendAndLook(buildRciExecuteReq(1, 1, {"x"})).textAt(18, 4), std::string(4, '\0'));
    EXPECT_EQ(sendAndLook(buildRciOutputInd(1, 1, "x", 1)).textAt(17, 4), std::string(4, '\0'));
}

TEST(RciMessage, OfFixedSizeIsItsLayout) {
    const SentMessage message =
        sendAndLook(buildRciMessage(RciConnectCfm{kRciConnectCfmMsgNo, 5, 9, kRciRevision}));

    EXPECT_EQ(message.bytes, QuoriaTest::Bytes().word(0x017070A1).word(5).word(9).word(1).get());
}

TEST(RciMessage, IsNullWhenItcGivesNoBlock) {
    ScriptedItc::failAlloc(kRciConnectReqMsgNo);
    ScriptedItc::failAlloc(kRciExecuteReqMsgNo);
    ScriptedItc::failAlloc(kRciOutputIndMsgNo);

    EXPECT_EQ(buildRciConnectReq(1, 1, "x"), nullptr);
    EXPECT_EQ(buildRciExecuteReq(1, 1, {"x"}), nullptr);
    EXPECT_EQ(buildRciOutputInd(1, 1, "x", 1), nullptr);
    EXPECT_EQ(buildRciOutputInd(1, 1, 'x'), nullptr);
}

TEST(RciMessage, IsNullWhenItsSizeIsMoreThanAWordHolds) {
    EXPECT_EQ(buildRciMessage(RciServerDownInd{kRciServerDownIndMsgNo}, 0xFFFFFFFCU), nullptr);
    EXPECT_EQ(ScriptedItc::blocksInUse(), 0U);
}

}  // namespace
