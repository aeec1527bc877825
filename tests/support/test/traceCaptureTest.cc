#include <quoriaTest/traceCapture.h>

#include <quoria/trace/trace.h>

#include <gmock/gmock.h>

#include <future>
#include <stdexcept>
#include <thread>

namespace {

using QuoriaTest::TraceCapture;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(TraceCapture, RecordsNothingThatCameBefore) {
    QTRACE_INFO("before");
    const TraceCapture capture;
    EXPECT_THAT(capture.events(), IsEmpty());
}

TEST(TraceCapture, RecordsOnlyTheEventsNamed) {
    const TraceCapture capture({"ERROR", "TRACE2"});
    QTRACE_ERROR("a");
    QTRACE_INFO("b");
    QTRACE_TRACE1("-", "c");
    QTRACE_TRACE2("-", "d");
    EXPECT_THAT(capture.messages("ERROR"), ElementsAre("a"));
    EXPECT_THAT(capture.messages("TRACE2"), ElementsAre("d"));
    EXPECT_EQ(capture.events().size(), 2u);
}

TEST(TraceCapture, KeepsTheOrderOfEvents) {
    const TraceCapture capture;
    QTRACE_INFO("1");
    QTRACE_ERROR("2");
    QTRACE_INFO("3");
    EXPECT_THAT(capture.messages("INFO"), ElementsAre("1", "3"));
    EXPECT_EQ(capture.events().at(1).name, "ERROR");
}

TEST(TraceCapture, CountsExactMessagesOfOneEvent) {
    const TraceCapture capture;
    QTRACE_INFO("text");
    QTRACE_INFO("text");
    QTRACE_INFO("text.");
    QTRACE_ERROR("text");
    EXPECT_EQ(capture.count("INFO", "text"), 2u);
    EXPECT_EQ(capture.count("INFO", "tex"), 0u);
}

TEST(TraceCapture, RefusesANameThatNoEventHas) {
    EXPECT_THROW(TraceCapture({"INFO", "WARNING"}), std::invalid_argument);
    EXPECT_FALSE(QTRACE_INFO_ENABLED());
}

TEST(TraceCapture, EachOfSeveralRecordsForItself) {
    const TraceCapture outer({"INFO"});
    QTRACE_INFO("1");
    {
        const TraceCapture inner({"INFO"});
        QTRACE_INFO("2");
        EXPECT_THAT(inner.messages("INFO"), ElementsAre("2"));
    }
    QTRACE_INFO("3");
    EXPECT_THAT(outer.messages("INFO"), ElementsAre("1", "2", "3"));
}

TEST(TraceCapture, RecordsThreadsThatRanBeforeIt) {
    std::promise<void> captured;
    std::thread thread([ready = captured.get_future()] {
        ready.wait();
        QTRACE_INFO("from the thread");
    });
    const TraceCapture capture({"INFO"});
    captured.set_value();
    thread.join();
    EXPECT_THAT(capture.messages("INFO"), ElementsAre("from the thread"));
}

}  // namespace
