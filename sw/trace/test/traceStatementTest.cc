// What each trace statement fires its event with.

#include <quoria/trace/trace.h>

#include <gmock/gmock.h>
#include <quoriaTest/traceCapture.h>

#include <cstdint>
#include <string>
#include <vector>

namespace {

using QuoriaTest::CapturedEvent;
using QuoriaTest::TraceCapture;
using testing::ElementsAre;
using testing::IsEmpty;

const std::vector<std::uint8_t> kBytes = {0x00, 0x7F, 0x80, 0xFF};
const char kData[] = "\x00\x7F\x80\xFF";
const std::size_t kDatalen = 4;

int evaluationsBeforeTheProvider = 0;
bool hasRunBeforeTheProvider = false;

// The provider is registered by a constructor without a priority, thus after this one.
__attribute__((constructor(101))) void traceBeforeTheProvider() {
    QTRACE_ERROR("too early: " << ++evaluationsBeforeTheProvider);
    QTRACE_TRACE1("-", "too early: " << ++evaluationsBeforeTheProvider);
    hasRunBeforeTheProvider = true;
}

class TraceStatement : public testing::Test {
protected:
    // The one event that has been recorded, with what every event carries checked.
    CapturedEvent theEvent(const std::string& name, unsigned int line) {
        const std::vector<CapturedEvent> events = capture_.events();
        if (events.size() != 1) {
            ADD_FAILURE() << events.size() << " events instead of one";
            return {};
        }
        EXPECT_EQ(events[0].name, name);
        EXPECT_EQ(events[0].file, "traceStatementTest.cc");
        EXPECT_EQ(events[0].line, line);
        return events[0];
    }

    TraceCapture capture_;
};

TEST_F(TraceStatement, ErrorCarriesFileLineAndMessage) {
    QTRACE_ERROR("epoll_wait failed: " << 9);
    EXPECT_EQ(theEvent("ERROR", __LINE__ - 1).msg, "epoll_wait failed: 9");
}

TEST_F(TraceStatement, InfoCarriesFileLineAndMessage) {
    QTRACE_INFO("ABN: gave up");
    EXPECT_EQ(theEvent("INFO", __LINE__ - 1).msg, "ABN: gave up");
}

TEST_F(TraceStatement, RecSigCarriesObjectSignalAndMessage) {
    QTRACE_REC_SIG("receiver", 0xCAFEF00D, "got " << 'a');
    const CapturedEvent event = theEvent("REC_SIG", __LINE__ - 1);
    EXPECT_EQ(event.obj, "receiver");
    EXPECT_EQ(event.sigNo, 0xCAFEF00D);
    EXPECT_EQ(event.msg, "got a");
}

TEST_F(TraceStatement, SendSigCarriesObjectSignalPartyAndMessage) {
    QTRACE_SEND_SIG("sender", 0x1707090u, 0xFFFFFFFFu, "sent " << 'b');
    const CapturedEvent event = theEvent("SEND_SIG", __LINE__ - 1);
    EXPECT_EQ(event.obj, "sender");
    EXPECT_EQ(event.sigNo, 0x1707090u);
    EXPECT_EQ(event.pid, 0xFFFFFFFFu);
    EXPECT_EQ(event.msg, "sent b");
}

TEST_F(TraceStatement, DataCarriesObjectMessageAndBytes) {
    QTRACE_DATA("port", "frame " << 7, kData, kDatalen);
    const CapturedEvent event = theEvent("DATA", __LINE__ - 1);
    EXPECT_EQ(event.obj, "port");
    EXPECT_EQ(event.msg, "frame 7");
    EXPECT_EQ(event.data, kBytes);
}

TEST_F(TraceStatement, DataTakesNullDataOfLengthZero) {
    QTRACE_DATA("port", "empty", nullptr, 0);
    EXPECT_THAT(theEvent("DATA", __LINE__ - 1).data, IsEmpty());
}

TEST_F(TraceStatement, NullStringsAreRecordedAsNull) {
    const char* const null = nullptr;
    QTRACE_TRACE1(null, "text");
    QTRACE_TRACE_UTS1(1, 2, null, "text", kData, kDatalen);
    const std::vector<CapturedEvent> events = capture_.events();
    ASSERT_EQ(events.size(), 2u);
    EXPECT_EQ(events[0].obj, "(null)");
    EXPECT_EQ(events[1].process, "(null)");
}

// The numbered levels differ in nothing but the name of the event.
#define OBJECT_STATEMENT_TEST(event)                               \
    TEST_F(TraceStatement, event##CarriesObjectAndMessage) {       \
        QTRACE_##event("-", "first" << 1);                         \
        const CapturedEvent captured = theEvent(#event, __LINE__); \
        EXPECT_EQ(captured.obj, "-");                              \
        EXPECT_EQ(captured.msg, "first1");                         \
    }

OBJECT_STATEMENT_TEST(STATE_CHANGE)
OBJECT_STATEMENT_TEST(TRACE1)
OBJECT_STATEMENT_TEST(TRACE2)
OBJECT_STATEMENT_TEST(TRACE3)
OBJECT_STATEMENT_TEST(TRACE4)
OBJECT_STATEMENT_TEST(TRACE5)
OBJECT_STATEMENT_TEST(TRACE6)
OBJECT_STATEMENT_TEST(TRACE7)

#define TIMESTAMPED_STATEMENT_TEST(event)                                   \
    TEST_F(TraceStatement, event##CarriesTimeStampProcessMessageAndBytes) { \
        QTRACE_##event(11, 999999, "peer", "seen " << 3, kData, kDatalen);  \
        const CapturedEvent captured = theEvent(#event, __LINE__);          \
        EXPECT_EQ(captured.sec, 11u);                                       \
        EXPECT_EQ(captured.usec, 999999u);                                  \
        EXPECT_EQ(captured.process, "peer");                                \
        EXPECT_EQ(captured.msg, "seen 3");                                  \
        EXPECT_EQ(captured.data, kBytes);                                   \
    }                                                                       \
    TEST_F(TraceStatement, event##TakesNullDataOfLengthZero) {              \
        QTRACE_##event(0, 0, "peer", "empty", nullptr, 0);                  \
        EXPECT_THAT(theEvent(#event, __LINE__).data, IsEmpty());            \
    }

TIMESTAMPED_STATEMENT_TEST(TRACE_UTS1)
TIMESTAMPED_STATEMENT_TEST(TRACE_UTS2)
TIMESTAMPED_STATEMENT_TEST(TRACE_UTS3)
TIMESTAMPED_STATEMENT_TEST(TRACE_UTS4)
TIMESTAMPED_STATEMENT_TEST(TRACE_UTS5)
TIMESTAMPED_STATEMENT_TEST(TRACE_UTS6)
TIMESTAMPED_STATEMENT_TEST(TRACE_UTS7)

TEST_F(TraceStatement, MessageMayBeMadeOfTemporaries) {
    QTRACE_INFO(std::string(100, 'x') + std::string(100, 'y'));
    EXPECT_EQ(theEvent("INFO", __LINE__ - 1).msg, std::string(100, 'x') + std::string(100, 'y'));
}

TEST_F(TraceStatement, MessageMayHoldCommasOutsideParentheses) {
    QTRACE_ERROR("size " << std::vector<std::pair<int, int>>{{1, 2}}.size());
    QTRACE_TRACE1("-", std::string{"a", 1} << std::string{"b", 1});
    EXPECT_THAT(capture_.messages("ERROR"), ElementsAre("size 1"));
    EXPECT_THAT(capture_.messages("TRACE1"), ElementsAre("ab"));
}

TEST_F(TraceStatement, MessageWithAContainerShowsItsElementsInBraces) {
    const std::vector<std::string> arguments = {"a", "b c"};
    QTRACE_TRACE1("-", "Executing with " << arguments << '.');
    EXPECT_THAT(capture_.messages("TRACE1"), ElementsAre("Executing with {a,b c}."));
}

TEST_F(TraceStatement, DoesNothingAndNoHarmBeforeTheProviderIsRegistered) {
    EXPECT_TRUE(hasRunBeforeTheProvider);
    EXPECT_EQ(evaluationsBeforeTheProvider, 0);
    EXPECT_THAT(capture_.events(), IsEmpty());
    QTRACE_ERROR("in time");
    EXPECT_EQ(theEvent("ERROR", __LINE__ - 1).msg, "in time");
}

}  // namespace
