#include "itcStreamBuf.h"

#include "rciProtocol.h"

#include <quoriaTest/scriptedItc.h>
#include <quoriaTest/traceCapture.h>

#include <gmock/gmock.h>

#include <ostream>

namespace {

using namespace Quoria::CommandRegistry::Backend;
namespace ScriptedItc = QuoriaTest::ScriptedItc;
using QuoriaTest::SentMessage;
using testing::ElementsAre;

// Makes the two operations of a stream buffer callable.
class OpenedStreamBuf : public ItcStreamBuf {
public:
    using ItcStreamBuf::ItcStreamBuf;
    using ItcStreamBuf::overflow;
    using ItcStreamBuf::xsputn;

    bool hasNoPutArea() const { return pbase() == nullptr && epptr() == nullptr; }
    bool hasNoGetArea() const { return eback() == nullptr && egptr() == nullptr; }
};

class ItcStreamBufTest : public testing::Test {
protected:
    static std::vector<std::string> sentTexts() {
        std::vector<std::string> texts;
        for (const SentMessage& message : ScriptedItc::sent()) {
            EXPECT_EQ(message.msgno, 0x017070A6U);
            EXPECT_GE(message.bytes.size(), 20U);
            texts.push_back(message.textAt(16, message.wordAt(12)));
        }
        return texts;
    }

    const std::shared_ptr<RciServerProcedure> procedure_ =
        std::make_shared<RciServerProcedure>(5, 0x71, 0x72);
    const std::shared_ptr<RciServerConnection> connection_ =
        std::make_shared<RciServerConnection>("x", 6, 1);
    OpenedStreamBuf buffer_{procedure_, connection_};
};

TEST_F(ItcStreamBufTest, SendsAWriteAtOnceAsOneMessage) {
    EXPECT_EQ(buffer_.xsputn("hello", 5), 5);

    EXPECT_THAT(sentTexts(), ElementsAre("hello"));
}

TEST_F(ItcStreamBufTest, AddsFourSpareBytesToTheTextOfAWrite) {
    buffer_.xsputn("hello", 5);
    buffer_.xsputn("!", 1);

    EXPECT_EQ(ScriptedItc::sent().at(0).bytes.size(), 25U);
    EXPECT_EQ(ScriptedItc::sent().at(1).bytes.size(), 21U);
}

TEST_F(ItcStreamBufTest, SendsACharacterOnItsOwnIn20Bytes) {
    buffer_.overflow('x');

    const SentMessage message = ScriptedItc::sent().at(0);
    EXPECT_EQ(message.bytes.size(), 20U);
    EXPECT_EQ(message.wordAt(12), 1U);
    EXPECT_EQ(message.textAt(16, 1), "x");
}

TEST_F(ItcStreamBufTest, AddressesTheClientOfTheExecutionAsFromItsServer) {
    buffer_.xsputn("hello", 5);

    const SentMessage message = ScriptedItc::sent().at(0);
    EXPECT_EQ(message.receiver, 0x71U);
    EXPECT_EQ(message.sender, 0x72U);
    EXPECT_EQ(message.wordAt(4), 5U);
    EXPECT_EQ(message.wordAt(8), 6U);
}

TEST_F(ItcStreamBufTest, CutsAWriteThatIsTooLongForOneMessage) {
    ScriptedItc::setMaxSize(24);

    EXPECT_EQ(buffer_.xsputn("0123456789", 10), 10);

    EXPECT_THAT(sentTexts(), ElementsAre("0123", "4567", "89"));
}

TEST_F(ItcStreamBufTest, SendsAWriteThatJustFitsAsOneFullMessage) {
    ScriptedItc::setMaxSize(24);

    EXPECT_EQ(buffer_.xsputn("0123", 4), 4);

    EXPECT_THAT(sentTexts(), ElementsAre("0123"));
    EXPECT_EQ(ScriptedItc::sent().at(0).bytes.size(), 24U);
}

TEST_F(ItcStreamBufTest, SendsTwoFullMessagesForTwiceWhatFits) {
    ScriptedItc::setMaxSize(24);

    EXPECT_EQ(buffer_.xsputn("01234567", 8), 8);

    EXPECT_THAT(sentTexts(), ElementsAre("0123", "4567"));
}

TEST_F(ItcStreamBufTest, AsksForTheMaximumSizeAgainForEachWrite) {
    ScriptedItc::setMaxSize(24);
    buffer_.xsputn("01234", 5);
    ScriptedItc::setMaxSize(25);

    buffer_.xsputn("01234", 5);

    EXPECT_THAT(sentTexts(), ElementsAre("0123", "4", "01234"));
}

TEST_F(ItcStreamBufTest, SendsAnEmptyWriteAsAnEmptyMessage) {
    EXPECT_EQ(buffer_.xsputn("", 0), 0);

    EXPECT_THAT(sentTexts(), ElementsAre(""));
}

TEST_F(ItcStreamBufTest, SendsNothingForANegativeCount) {
    EXPECT_EQ(buffer_.xsputn("abc", -1), -1);

    EXPECT_THAT(sentTexts(), ElementsAre());
}

TEST_F(ItcStreamBufTest, CarriesAnyByteValue) {
    const std::string text("\0\n\xFF\x80", 4);

    buffer_.xsputn(text.data(), 4);

    EXPECT_THAT(sentTexts(), ElementsAre(text));
}

TEST_F(ItcStreamBufTest, ComesToAnEndEvenWhenItcHasNoRoomForText) {
    for (const std::uint32_t size : {0U, 19U, 20U}) {
        ScriptedItc::setMaxSize(size);
        EXPECT_EQ(buffer_.xsputn("ab", 2), 2);
    }

    EXPECT_THAT(sentTexts(), ElementsAre("a", "b", "a", "b", "a", "b"));
}

TEST_F(ItcStreamBufTest, SendsASingleCharacterAsAMessageOfItsOwn) {
    EXPECT_EQ(buffer_.overflow('x'), 'x');

    EXPECT_THAT(sentTexts(), ElementsAre("x"));
    const SentMessage message = ScriptedItc::sent().at(0);
    EXPECT_EQ(message.receiver, 0x71U);
    EXPECT_EQ(message.sender, 0x72U);
    EXPECT_EQ(message.wordAt(4), 5U);
    EXPECT_EQ(message.wordAt(8), 6U);
}

TEST_F(ItcStreamBufTest, SendsTheLowEightBitsOfACharacter) {
    EXPECT_EQ(buffer_.overflow(0x141), 0x41);
    EXPECT_EQ(buffer_.overflow(0xFF), 0xFF);
    EXPECT_EQ(buffer_.overflow(-2), 0xFE);

    EXPECT_THAT(sentTexts(), ElementsAre("A", "\xFF", "\xFE"));
}

TEST_F(ItcStreamBufTest, TakesTheEndOfFileWithoutFailing) {
    EXPECT_EQ(buffer_.overflow(-1), 255);

    EXPECT_THAT(sentTexts(), ElementsAre());
}

TEST_F(ItcStreamBufTest, DropsWritesToAClosedConnectionAndReportsSuccess) {
    connection_->close();

    EXPECT_EQ(buffer_.xsputn("hello", 5), 5);
    EXPECT_EQ(buffer_.xsputn("", 0), 0);
    EXPECT_EQ(buffer_.overflow(0x141), 0x41);
    EXPECT_EQ(buffer_.overflow(-1), 255);

    EXPECT_THAT(sentTexts(), ElementsAre());
}

TEST_F(ItcStreamBufTest, HoldsNothingBack) {
    std::ostream out(&buffer_);

    out << "abc" << std::flush;

    EXPECT_TRUE(buffer_.hasNoPutArea());
    EXPECT_TRUE(buffer_.hasNoGetArea());
    EXPECT_THAT(sentTexts(), ElementsAre("abc"));
}

TEST_F(ItcStreamBufTest, IsAnOrdinaryStreamBufferInAllElse) {
    char room[4];

    EXPECT_EQ(buffer_.pubsync(), 0);
    EXPECT_EQ(buffer_.pubsetbuf(room, sizeof room), &buffer_);
    EXPECT_EQ(buffer_.in_avail(), 0);
    EXPECT_EQ(buffer_.sgetc(), OpenedStreamBuf::traits_type::eof());
    EXPECT_EQ(buffer_.sputbackc('x'), OpenedStreamBuf::traits_type::eof());

    EXPECT_TRUE(buffer_.hasNoPutArea());
    EXPECT_TRUE(buffer_.hasNoGetArea());
    EXPECT_THAT(sentTexts(), ElementsAre());
}

TEST_F(ItcStreamBufTest, ReportsOutputThatItcHasNoMemoryForAndGoesOn) {
    const QuoriaTest::TraceCapture trace({"ERROR"});
    ScriptedItc::failAlloc(Quoria::Command::Backend::kRciOutputIndMsgNo);
    std::ostream out(&buffer_);

    out << "abc";

    EXPECT_TRUE(out.good());
    EXPECT_EQ(trace.count("ERROR", "itc_alloc failed for a message to mailbox: 0x71"), 1U);
}

}  // namespace
