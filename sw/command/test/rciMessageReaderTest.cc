#include "rciMessage.h"

#include <quoriaTest/scriptedItc.h>

#include <gtest/gtest.h>

namespace {

using namespace Quoria::Command::Backend;
using QuoriaTest::Bytes;

class RciMessageReading : public testing::Test {
protected:
    // A reader of a block that has this content and not one byte more.
    RciMessageReader readerOf(const Bytes& content) {
        msg_ = QuoriaTest::ScriptedItc::makeReceived(content, 1);
        return RciMessageReader(msg_.get());
    }

    std::shared_ptr<itc_msg> msg_;
    std::string text_;
    std::vector<std::string> texts_;
    bool found_ = false;
};

TEST_F(RciMessageReading, TakesALayoutThatFillsTheBlock) {
    RciMessageReader reader = readerOf(Bytes().word(1).word(2).word(3));

    RciDisconnectReq request;
    EXPECT_TRUE(reader.readLayout(request));
    EXPECT_EQ(request.msgno, 1U);
    EXPECT_EQ(request.clientRef, 2U);
    EXPECT_EQ(request.connectionRef, 3U);
}

TEST_F(RciMessageReading, RefusesALayoutThatIsOneByteTooLong) {
    RciMessageReader reader = readerOf(Bytes().word(1).word(2).text("abc"));

    RciDisconnectReq request;
    EXPECT_FALSE(reader.readLayout(request));
}

TEST_F(RciMessageReading, FindsAWordAtAnyPlaceAmongThoseCounted) {
    EXPECT_TRUE(readerOf(Bytes().word(1).word(2).word(3)).searchWords(3, 1, found_));
    EXPECT_TRUE(found_);
    EXPECT_TRUE(readerOf(Bytes().word(1).word(2).word(3)).searchWords(3, 3, found_));
    EXPECT_TRUE(found_);
}

TEST_F(RciMessageReading, FindsNoWordBehindThoseCounted) {
    EXPECT_TRUE(readerOf(Bytes().word(1).word(2).word(3)).searchWords(2, 3, found_));
    EXPECT_FALSE(found_);
}

TEST_F(RciMessageReading, FindsNothingAmongNoWords) {
    EXPECT_TRUE(readerOf(Bytes().word(1)).searchWords(0, 1, found_));
    EXPECT_FALSE(found_);
}

TEST_F(RciMessageReading, GoesOnBehindTheWordsSearched) {
    RciMessageReader reader = readerOf(Bytes().word(7).word(8).word(2).text("ab"));

    EXPECT_TRUE(reader.searchWords(2, 7, found_));
    EXPECT_TRUE(reader.readCountedText(text_));
    EXPECT_EQ(text_, "ab");
}

TEST_F(RciMessageReading, RefusesACountOfMoreWordsThanThereAre) {
    EXPECT_FALSE(readerOf(Bytes().word(1).word(2)).searchWords(3, 1, found_));
    EXPECT_FALSE(readerOf(Bytes().word(1).text("abc")).searchWords(2, 1, found_));
}

TEST_F(RciMessageReading, RefusesACountOfWordsWhoseBytesAreMoreThanAWordHolds) {
    EXPECT_FALSE(readerOf(Bytes().word(1).word(2)).searchWords(0xFFFFFFFF, 1, found_));
    EXPECT_FALSE(readerOf(Bytes().word(1).word(2)).searchWords(0x40000001, 1, found_));
}

TEST_F(RciMessageReading, TakesACountedTextThatFillsTheBlock) {
    EXPECT_TRUE(readerOf(Bytes().word(3).text("abc")).readCountedText(text_));
    EXPECT_EQ(text_, "abc");
}

TEST_F(RciMessageReading, TakesACountedTextAtAnyAddress) {
    const std::string start(1, '\0');
    RciMessageReader reader = readerOf(Bytes().text("x" + start).word(3).text("abc"));

    EXPECT_TRUE(reader.readTerminatedTexts(1, texts_));
    EXPECT_TRUE(reader.readCountedText(text_));
    EXPECT_EQ(text_, "abc");
}

TEST_F(RciMessageReading, TakesACountedTextWithNulsInIt) {
    const std::string withNul("a\0c", 3);

    EXPECT_TRUE(readerOf(Bytes().word(3).text(withNul)).readCountedText(text_));
    EXPECT_EQ(text_, withNul);
}

TEST_F(RciMessageReading, TakesAnEmptyCountedText) {
    EXPECT_TRUE(readerOf(Bytes().word(0)).readCountedText(text_));
    EXPECT_EQ(text_, "");
}

TEST_F(RciMessageReading, RefusesACountedTextThatRunsPastTheBlock) {
    EXPECT_FALSE(readerOf(Bytes().word(4).text("abc")).readCountedText(text_));
    EXPECT_FALSE(readerOf(Bytes().word(0xFFFFFFFF).text("abc")).readCountedText(text_));
}

TEST_F(RciMessageReading, RefusesACountedTextWithoutItsCount) {
    EXPECT_FALSE(readerOf(Bytes().text("abc")).readCountedText(text_));
}

TEST_F(RciMessageReading, TakesTerminatedTextsThatFillTheBlock) {
    const std::string content("a\0\0bc\0", 6);

    EXPECT_TRUE(readerOf(Bytes().text(content)).readTerminatedTexts(3, texts_));
    EXPECT_EQ(texts_, (std::vector<std::string>{"a", "", "bc"}));
}

TEST_F(RciMessageReading, TakesOnlyAsManyTerminatedTextsAsAreCounted) {
    const std::string content("a\0b\0", 4);

    EXPECT_TRUE(readerOf(Bytes().text(content)).readTerminatedTexts(1, texts_));
    EXPECT_EQ(texts_, std::vector<std::string>{"a"});
}

TEST_F(RciMessageReading, RefusesATextWithoutItsTerminator) {
    EXPECT_FALSE(readerOf(Bytes().text("abc!")).readTerminatedTexts(1, texts_));
}

TEST_F(RciMessageReading, RefusesMoreTerminatedTextsThanThereAre) {
    const std::string content("a\0b\0", 4);

    EXPECT_FALSE(readerOf(Bytes().text(content)).readTerminatedTexts(3, texts_));
}

TEST_F(RciMessageReading, RefusesAHugeCountOfTextsWithoutMakingRoomForThem) {
    const std::string content("a\0b\0", 4);

    EXPECT_FALSE(readerOf(Bytes().text(content)).readTerminatedTexts(0xFFFFFFFF, texts_));
    EXPECT_LT(texts_.capacity(), 100U);
}

TEST_F(RciMessageReading, OffersNoMoreBytesThanAreLeft) {
    RciMessageReader reader = readerOf(Bytes().word(1).word(2).word(3).text("abc"));
    RciDisconnectReq request;
    ASSERT_TRUE(reader.readLayout(request));

    EXPECT_EQ(reader.available(2), 2U);
    EXPECT_EQ(reader.available(100), 3U);
    EXPECT_EQ(std::string(reader.position(), reader.available(100)), "abc");
}

}  // namespace
