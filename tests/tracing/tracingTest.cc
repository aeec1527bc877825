// What a real tracer records of programs that use libquoria, and that being traced does them no
// harm.

#include "tracingSession.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Pair;

MATCHER_P2(Event, name, fields, std::string(name) + ": " + fields) {
    return arg.name == name && arg.fields == fields;
}

}  // namespace

void PrintTo(const RecordedEvent& event, std::ostream* stream) {
    *stream << event.name << ": " << event.fields;
}

namespace {

TEST(Tracing, RecordsTheTwentyEventsWithTheirFields) {
    TracingSession session;
    session.run({PEER_TRACEEMITTER, "all"});
    const std::string file = "file = \"emitter.cc\", line = ";
    const std::string data =
        ", _data_length = 5, data = [ [0] = 0, [1] = 1, [2] = 127, [3] = 128, [4] = 255 ]";
    EXPECT_THAT(
        session.finish(),
        ElementsAre(
            Event("ERROR", file + "102, msg = \"error 1\""),
            Event("INFO", file + "103, msg = \"ABN: info 2\""),
            Event("STATE_CHANGE", file + "104, obj = \"door\", msg = \"open\""),
            Event("TRACE1", file + "105, obj = \"-\", msg = \"trace 1\""),
            Event("TRACE2", file + "106, obj = \"two\", msg = \"trace 2\""),
            Event("TRACE3", file + "107, obj = \"three\", msg = \"trace 3\""),
            Event("TRACE4", file + "108, obj = \"four\", msg = \"trace 4\""),
            Event("TRACE5", file + "109, obj = \"five\", msg = \"trace 5\""),
            Event("TRACE6", file + "110, obj = \"six\", msg = \"trace 6\""),
            Event("TRACE7", file + "111, obj = \"seven\", msg = \"trace 7\""),
            Event("REC_SIG", file + "112, obj = \"port\", sig_no = 0x17070A0, msg = \"received\""),
            Event("SEND_SIG", file + "113, obj = \"port\", sig_no = 0xFFFFFFFF, "
                                     "pid = 4294967295, msg = \"sent\""),
            Event("DATA", file + "114, obj = \"port\", msg = \"frame\"" + data),
            Event("TRACE_UTS1", file +
                                    "115, sec = 1, usec = 10, process = \"peer1\", "
                                    "msg = \"uts 1\"" +
                                    data),
            Event("TRACE_UTS2", file +
                                    "116, sec = 2, usec = 20, process = \"peer2\", "
                                    "msg = \"uts 2\"" +
                                    data),
            Event("TRACE_UTS3", file +
                                    "117, sec = 3, usec = 30, process = \"peer3\", "
                                    "msg = \"uts 3\"" +
                                    data),
            Event("TRACE_UTS4", file +
                                    "118, sec = 4, usec = 40, process = \"peer4\", "
                                    "msg = \"uts 4\"" +
                                    data),
            Event("TRACE_UTS5", file +
                                    "119, sec = 5, usec = 50, process = \"peer5\", "
                                    "msg = \"uts 5\"" +
                                    data),
            Event("TRACE_UTS6", file +
                                    "120, sec = 6, usec = 60, process = \"peer6\", "
                                    "msg = \"uts 6\"" +
                                    data),
            Event("TRACE_UTS7", file +
                                    "121, sec = 4294967295, usec = 999999, "
                                    "process = \"peer7\", msg = \"uts 7\"" +
                                    data)));
}

TEST(Tracing, RecordsNullStringsAsNullAndNoDataAsAnEmptySequence) {
    TracingSession session;
    session.run({PEER_TRACEEMITTER, "nothingness"});
    const std::string file = "file = \"emitter.cc\", line = ";
    const std::string noData = ", _data_length = 0, data = [ ]";
    EXPECT_THAT(
        session.finish(),
        ElementsAre(
            Event("TRACE1", file + "203, obj = \"(null)\", msg = \"null object\""),
            Event("SEND_SIG",
                  file + "204, obj = \"(null)\", sig_no = 0x0, pid = 0, msg = \"null object\""),
            Event("DATA", file + "205, obj = \"(null)\", msg = \"\"" + noData),
            Event("DATA", file + "206, obj = \"port\", msg = \"no bytes\"" + noData),
            Event("TRACE_UTS1", file +
                                    "207, sec = 0, usec = 0, process = \"(null)\", "
                                    "msg = \"null process\"" +
                                    noData),
            Event("TRACE_UTS7",
                  file + "208, sec = 0, usec = 0, process = \"\", msg = \"\"" + noData)));
}

TEST(Tracing, FindsTheEventsFromTheLastToTheFirstWithTheirLogLevels) {
    TracingSession session;
    session.run({PEER_TRACEEMITTER, "all"});
    session.finish();
    EXPECT_THAT(
        session.logLevels(),
        ElementsAre(Pair("TRACE_UTS7", 14), Pair("TRACE_UTS6", 13), Pair("TRACE_UTS5", 12),
                    Pair("TRACE_UTS4", 11), Pair("TRACE_UTS3", 10), Pair("TRACE_UTS2", 9),
                    Pair("TRACE_UTS1", 8), Pair("DATA", 14), Pair("SEND_SIG", 7),
                    Pair("REC_SIG", 7), Pair("TRACE7", 14), Pair("TRACE6", 13), Pair("TRACE5", 12),
                    Pair("TRACE4", 11), Pair("TRACE3", 10), Pair("TRACE2", 9), Pair("TRACE1", 8),
                    Pair("STATE_CHANGE", 7), Pair("INFO", 6), Pair("ERROR", 3)));
}

// So the tools that recorded are those that go with the library, not others of the machine.
TEST(Tracing, NamesTheGenerationOfTheTracerThatTheLibraryIsBuiltWith) {
    TracingSession session;
    session.run({PEER_TRACEEMITTER, "all"});
    session.finish();
    EXPECT_EQ(session.generation(), LTTNG_UST_GENERATION);
}

TEST(Tracing, AtLevelInfoRecordsErrorsAndAbnormalConditionsOnly) {
    TracingSession session({"--loglevel=TRACE_INFO"});
    session.run({PEER_TRACEEMITTER, "all"});
    EXPECT_THAT(
        session.finish(),
        ElementsAre(Event("ERROR", "file = \"emitter.cc\", line = 102, msg = \"error 1\""),
                    Event("INFO", "file = \"emitter.cc\", line = 103, msg = \"ABN: info 2\"")));
}

TEST(Tracing, RecordsWhatAProgramFiresWhileItEnds) {
    TracingSession session;
    session.run({PEER_TRACEEMITTER, "untilTheEnd"});
    std::vector<std::string> fields;
    for (const RecordedEvent& event : session.finish()) {
        fields.push_back(event.fields);
    }
    EXPECT_THAT(fields, ElementsAre(HasSubstr("leaving"), HasSubstr("exit handler"),
                                    HasSubstr("static object destroyed")));
}

// Such a program may leave an event half written, for which the end of a recording would wait.
TEST(Tracing, LetsAProgramEndWhileItsThreadsFire) {
    TracingSession session;
    for (int round = 0; round < 5; ++round) {
        EXPECT_NO_THROW(session.run({PEER_TRACEEMITTER, "threads"}));
    }
}

TEST(Tracing, LetsAProgramLoadTheLibraryWhenItPleases) {
    TracingSession session;
    session.run({PEER_TRACELOADER, PEER_QUORIA});
    EXPECT_THAT(session.finish(), IsEmpty());
}

// A provider that is still registered can't be registered again.
TEST(Tracing, TakesTheProviderBackWhenItIsUnloaded) {
    TracingSession session;
    session.run({PEER_TRACELOADER, PEER_TRACEALONE, "unloads"});
    EXPECT_THAT(session.finish(), IsEmpty());
}

TEST(Tracing, ThatCanNotBeSetUpLetsTheProgramGoOnWithoutIt) {
    TracingSession session;
    session.run({PEER_TRACEREFUSED});
    EXPECT_THAT(session.finish(), IsEmpty());
}

TEST(Tracing, ThatCanNotBeSetUpIsToldOnStandardError) {
    QuoriaTest::ChildProcess::Options options;
    options.environment = {"LTTNG_HOME=/nonexistent"};
    const QuoriaTest::Outcome outcome = QuoriaTest::runToEnd({PEER_TRACEREFUSED}, options);
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(outcome.output, IsEmpty());
    // The number is of the older generation only.
    EXPECT_THAT(outcome.error, MatchesRegex("LTTng-UST: Error( \\(-[0-9]+\\))? while registering "
                                            "tracepoint probe.\n"));
}

TEST(Tracing, WithoutItsRuntimeLeavesEveryEventDisabled) {
    TracingSession session;
    session.run({PEER_TRACEABSENT});
    EXPECT_THAT(session.finish(), IsEmpty());
}

// Were there a wait for a daemon that does not exist, it would have no end.
TEST(Tracing, LetsAProgramStartWhereNoDaemonRuns) {
    QuoriaTest::ChildProcess::Options options;
    options.environment = {"LTTNG_HOME=/nonexistent", "LTTNG_UST_REGISTER_TIMEOUT=-1"};
    EXPECT_EQ(QuoriaTest::runToEnd({PEER_TRACEEMITTER, "all"}, options).exitCode, 0);
}

}  // namespace
