// What a trace statement is as a piece of C++: evaluated only when its event is on, one statement
// wherever a statement may stand, and safe on any thread.

#include <quoria/trace/trace.h>

#include <gmock/gmock.h>
#include <quoriaTest/traceCapture.h>

#include <atomic>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

// A name that other headers like to define. What the statements are made of must not stumble over
// it.
#define ERROR 3
#define INFO 6
#define DATA 14

namespace {

// What the statements of this thread did, in order.
thread_local std::vector<std::string> steps;

}  // namespace

// Stands in for libtpt's in this test program.
extern "C" __attribute__((visibility("default"))) const char* tpt_short_fname(const char* path) {
    steps.push_back(std::string("shorten ") + path);
    return std::strrchr(path, '/') + 1;
}

namespace {

using QuoriaTest::CapturedEvent;
using QuoriaTest::TraceCapture;
using testing::ElementsAre;
using testing::IsEmpty;

class Counter {
public:
    int operator()() { return ++calls_; }
    const char* text() {
        ++calls_;
        return "text";
    }
    int calls() const { return calls_; }

private:
    int calls_ = 0;
};

void fireAll(Counter& next) {
    const char* const data = "d";
    QTRACE_ERROR(next());
    QTRACE_INFO(next());
    QTRACE_STATE_CHANGE(next.text(), next());
    QTRACE_TRACE1(next.text(), next());
    QTRACE_TRACE2(next.text(), next());
    QTRACE_TRACE3(next.text(), next());
    QTRACE_TRACE4(next.text(), next());
    QTRACE_TRACE5(next.text(), next());
    QTRACE_TRACE6(next.text(), next());
    QTRACE_TRACE7(next.text(), next());
    QTRACE_REC_SIG(next.text(), 1, next());
    QTRACE_SEND_SIG(next.text(), 1, 2, next());
    QTRACE_DATA(next.text(), next(), data, 1);
    QTRACE_TRACE_UTS1(1, 2, next.text(), next(), data, 1);
    QTRACE_TRACE_UTS2(1, 2, next.text(), next(), data, 1);
    QTRACE_TRACE_UTS3(1, 2, next.text(), next(), data, 1);
    QTRACE_TRACE_UTS4(1, 2, next.text(), next(), data, 1);
    QTRACE_TRACE_UTS5(1, 2, next.text(), next(), data, 1);
    QTRACE_TRACE_UTS6(1, 2, next.text(), next(), data, 1);
    QTRACE_TRACE_UTS7(1, 2, next.text(), next(), data, 1);
}

TEST(TraceStatementForm, NothingIsEvaluatedWhileNoEventIsEnabled) {
    Counter counter;
    fireAll(counter);
    EXPECT_EQ(counter.calls(), 0);
}

TEST(TraceStatementForm, FileNameIsNotShortenedWhileTheEventIsOff) {
    QTRACE_INFO("off");
    EXPECT_THAT(steps, IsEmpty());
}

TEST(TraceStatementForm, FileNameIsShortenedBeforeTheMessageIsBuilt) {
    const TraceCapture capture({"INFO"});
    const auto build = [] {
        steps.push_back("build");
        return "text";
    };
    QTRACE_INFO(build());
    EXPECT_THAT(steps, ElementsAre(std::string("shorten ") + __FILE__, "build"));
    EXPECT_NE(__FILE__[0], '/') << "the name that is shortened is relative";
}

TEST(TraceStatementForm, EverythingIsEvaluatedOnceWhileAllEventsAreEnabled) {
    const TraceCapture capture;
    Counter counter;
    fireAll(counter);
    EXPECT_EQ(counter.calls(), 2 + 18 * 2);
    EXPECT_EQ(capture.events().size(), 20u);
}

TEST(TraceStatementForm, OneEnabledEventEnablesNoOther) {
    const TraceCapture capture({"TRACE3"});
    Counter counter;
    fireAll(counter);
    EXPECT_EQ(counter.calls(), 2);
    EXPECT_EQ(capture.messages("TRACE3").size(), 1u);
}

TEST(TraceStatementForm, EnabledIsTrueFromEnablingToDisabling) {
    EXPECT_FALSE(QTRACE_TRACE1_ENABLED());
    {
        const TraceCapture capture({"TRACE1"});
        EXPECT_TRUE(QTRACE_TRACE1_ENABLED());
        EXPECT_FALSE(QTRACE_TRACE2_ENABLED());
    }
    EXPECT_FALSE(QTRACE_TRACE1_ENABLED());
}

TEST(TraceStatementForm, EveryEventHasATestOfItsOwn) {
    const TraceCapture capture;
    EXPECT_THAT(
        (std::vector<bool>{
            QTRACE_ERROR_ENABLED(),      QTRACE_INFO_ENABLED(),       QTRACE_STATE_CHANGE_ENABLED(),
            QTRACE_TRACE1_ENABLED(),     QTRACE_TRACE2_ENABLED(),     QTRACE_TRACE3_ENABLED(),
            QTRACE_TRACE4_ENABLED(),     QTRACE_TRACE5_ENABLED(),     QTRACE_TRACE6_ENABLED(),
            QTRACE_TRACE7_ENABLED(),     QTRACE_REC_SIG_ENABLED(),    QTRACE_SEND_SIG_ENABLED(),
            QTRACE_DATA_ENABLED(),       QTRACE_TRACE_UTS1_ENABLED(), QTRACE_TRACE_UTS2_ENABLED(),
            QTRACE_TRACE_UTS3_ENABLED(), QTRACE_TRACE_UTS4_ENABLED(), QTRACE_TRACE_UTS5_ENABLED(),
            QTRACE_TRACE_UTS6_ENABLED(), QTRACE_TRACE_UTS7_ENABLED()}),
        testing::AllOf(testing::SizeIs(20), testing::Each(true)));
}

void traceOneOf(bool first) {
    if (first)
        QTRACE_INFO("first");
    else
        QTRACE_INFO("second");
}

TEST(TraceStatementForm, StandsInIfAndElseWithoutBraces) {
    const TraceCapture capture({"INFO"});
    traceOneOf(true);
    traceOneOf(false);
    EXPECT_THAT(capture.messages("INFO"), ElementsAre("first", "second"));
}

TEST(TraceStatementForm, ElseBelongsToTheIfThatIsWritten) {
    const TraceCapture capture({"INFO"});
    bool reached = false;
    if (capture.events().empty())
        QTRACE_ERROR("off");
    else
        reached = true;
    EXPECT_FALSE(reached);
}

TEST(TraceStatementForm, MessageMayFireEventsItself) {
    const TraceCapture capture({"ERROR", "INFO"});
    const auto describe = [](int value) {
        QTRACE_INFO("describing " << value);
        return value;
    };
    QTRACE_ERROR("bad value " << describe(4));
    EXPECT_THAT(capture.messages("INFO"), ElementsAre("describing 4"));
    EXPECT_THAT(capture.messages("ERROR"), ElementsAre("bad value 4"));
}

TEST(TraceStatementForm, EachThreadsEventsStayInOrder) {
    constexpr int kThreads = 4;
    constexpr int kEvents = 200;
    const TraceCapture capture({"TRACE1"});
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([thread] {
            const std::string obj = std::to_string(thread);
            for (int event = 0; event < kEvents; ++event) {
                QTRACE_TRACE1(obj.c_str(), event);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    std::vector<int> next(kThreads, 0);
    for (const CapturedEvent& event : capture.events()) {
        EXPECT_EQ(event.msg, std::to_string(next[std::stoul(event.obj)]++));
    }
    EXPECT_THAT(next, testing::Each(kEvents));
}

TEST(TraceStatementForm, MayRunWhileTheEventIsSwitchedOnAndOff) {
    std::atomic<bool> stop = false;
    std::thread tracer([&stop] {
        while (!stop) {
            QTRACE_INFO("again");
        }
    });
    for (int round = 0; round < 20; ++round) {
        const TraceCapture capture({"INFO"});
        while (capture.count("INFO", "again") == 0) {
            std::this_thread::yield();
        }
    }
    stop = true;
    tracer.join();
    EXPECT_FALSE(QTRACE_INFO_ENABLED());
}

}  // namespace
