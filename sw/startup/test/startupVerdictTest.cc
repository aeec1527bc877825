// Participants that fail, are silent or late, and creators that create nothing.
#include "startupFixture.h"

#include <quoriaTest/threadState.h>
#include <quoriaTest/traceCapture.h>

#include <unistd.h>

#include <atomic>
#include <future>
#include <thread>

namespace {

using QuoriaTest::Responder;
using QuoriaTest::TraceCapture;
using std::chrono::hours;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::IsEmpty;
namespace SteadyClock = QuoriaTest::SteadyClock;

const std::string kNoParticipant = "ABN: No startup participant was created";

std::string noResponse(const std::string& name, const std::string& timeout) {
    return "ABN: No response from startup participant '" + name + "' in " + timeout + " seconds";
}

class StartupVerdict : public QuoriaTest::StartupFixture {
protected:
    // Answers when an event has told that the participant `after` did not respond and the registry
    // waits for the next one; at the latest in joinWorker().
    std::function<void(const Responder&)> answerWhenToldOf(const std::string& after,
                                                           const TraceCapture& trace) {
        return [this, after, &trace](const Responder& responder) {
            worker_ = std::thread([this, after, &trace, responder, starter = gettid()] {
                while (!isOver_ && (trace.count("INFO", noResponse(after, "3600")) == 0 ||
                                    !QuoriaTest::isAsleep(starter))) {
                    std::this_thread::yield();
                }
                responder->ready(true);
            });
        };
    }

    void joinWorker() {
        isOver_ = true;
        worker_.join();
    }

    std::atomic<bool> isOver_{false};
    std::thread worker_;
};

TEST_F(StartupVerdict, AParticipantThatFailsKeepsAllFromStarting) {
    addV1("a");
    addV2("b");
    addV2("c", fail);
    addV2("d");
    const TraceCapture trace;

    EXPECT_FALSE(start());

    EXPECT_THAT(takeNotes(),
                ElementsAre("create b", "init b", "create c", "init c", "create d", "init d"));
    EXPECT_THAT(trace.messages("INFO"),
                ElementsAre("ABN: Initialization failed for startup participant 'c'"));
    EXPECT_THAT(trace.messages("TRACE1"),
                ElementsAre("Initializing 'b'", "Initializing 'c'", "Initializing 'd'",
                            "'b' successfully initialized", "'d' successfully initialized"));
}

TEST_F(StartupVerdict, AParticipantThatNeverAnswersKeepsAllFromStarting) {
    addV1("a");
    addV2("b", stayAway);
    addV2("c");
    const TraceCapture trace;

    EXPECT_FALSE(start(seconds(0)));

    EXPECT_THAT(takeNotes(), ElementsAre("create b", "init b", "create c", "init c"));
    EXPECT_THAT(trace.messages("INFO"), ElementsAre(noResponse("b", "0")));
    EXPECT_EQ(trace.count("TRACE1", "'c' successfully initialized"), 1U);
}

TEST_F(StartupVerdict, AllAnswersAreReportedInTheOrderOfRegistration) {
    addV2("a", stayAway);
    addV2("b", fail);
    addV2("c");
    addV2("d", stayAway);
    const TraceCapture trace;

    EXPECT_FALSE(start(seconds(0)));

    std::vector<std::string> texts;
    for (const auto& event : trace.events()) {
        texts.push_back(event.msg);
    }
    EXPECT_THAT(texts, ElementsAre("Initializing 'a'", "Initializing 'b'", "Initializing 'c'",
                                   "Initializing 'd'", noResponse("a", "0"),
                                   "ABN: Initialization failed for startup participant 'b'",
                                   "'c' successfully initialized", noResponse("d", "0")));
}

TEST_F(StartupVerdict, ASilentParticipantHasTheWholeTimeout) {
    addV2("a", stayAway);
    const auto before = std::chrono::steady_clock::now();

    EXPECT_FALSE(start(seconds(1)));

    EXPECT_GE(std::chrono::steady_clock::now() - before, seconds(1));
}

TEST_F(StartupVerdict, TheTimeoutIsReportedInSeconds) {
    addV2("a", stayAway);
    const TraceCapture trace({"INFO"});
    SteadyClock::shift(hours(-1));

    start(seconds(3));

    EXPECT_THAT(trace.messages("INFO"),
                ElementsAre("ABN: No response from startup participant 'a' in 3 seconds"));
}

// At their set-up the clock is an hour behind, so both deadlines have passed when the wait begins.
// Counted from there, each would take an hour.
TEST_F(StartupVerdict, DeadlinesCountFromTheSetUpAndNotFromTheWait) {
    addV2("a", stayAway);
    addV2("b", [](const Responder&) { SteadyClock::shift(hours(0)); });
    const TraceCapture trace({"INFO"});
    SteadyClock::shift(hours(-1));

    EXPECT_FALSE(start(hours(1)));

    EXPECT_THAT(trace.messages("INFO"),
                ElementsAre(noResponse("a", "3600"), noResponse("b", "3600")));
}

// However long its creation takes: here it takes an hour.
TEST_F(StartupVerdict, ADeadlineCountsFromTheEndOfTheCreation) {
    const TraceCapture trace({"INFO", "TRACE1"});
    SteadyClock::shift(hours(-1));
    addV2("a", stayAway);
    registry_->registerParticipantCreator([this, &trace] {
        SteadyClock::shift(hours(0));
        return std::make_shared<QuoriaTest::V2Participant>("b", notes_,
                                                           answerWhenToldOf("a", trace), nothing);
    });

    EXPECT_FALSE(start(hours(1)));
    joinWorker();

    EXPECT_EQ(trace.count("TRACE1", "'b' successfully initialized"), 1U);
}

class SlowToTellItsName : public QuoriaTest::V2Participant {
public:
    using V2Participant::V2Participant;
    std::string getName() override {
        SteadyClock::shift(hours(0));
        return V2Participant::getName();
    }
};

TEST_F(StartupVerdict, ADeadlineCountsFromWhenTheNameIsKnown) {
    const TraceCapture trace({"INFO", "TRACE1"});
    SteadyClock::shift(hours(-1));
    addV2("a", stayAway);
    registry_->registerParticipantCreator([this, &trace] {
        return std::make_shared<SlowToTellItsName>("b", notes_, answerWhenToldOf("a", trace),
                                                   nothing);
    });

    EXPECT_FALSE(start(hours(1)));
    joinWorker();

    EXPECT_THAT(trace.messages("INFO"), ElementsAre(noResponse("a", "3600")));
    EXPECT_EQ(trace.count("TRACE1", "'b' successfully initialized"), 1U);
}

TEST_F(StartupVerdict, EachParticipantHasADeadlineOfItsOwn) {
    const TraceCapture trace({"INFO", "TRACE1"});
    SteadyClock::shift(hours(-1));
    addV2("a", [](const Responder&) { SteadyClock::shift(hours(0)); });
    addV2("b", answerWhenToldOf("a", trace));

    EXPECT_FALSE(start(hours(1)));
    joinWorker();

    EXPECT_THAT(trace.messages("INFO"), ElementsAre(noResponse("a", "3600")));
    EXPECT_EQ(trace.count("TRACE1", "'b' successfully initialized"), 1U);
}

TEST_F(StartupVerdict, AnAnswerAfterTheDeadlineCountsIfItIsThereWhenTheRegistryComesToWait) {
    SteadyClock::shift(hours(-1));
    addV2("a");

    EXPECT_TRUE(start(seconds(1)));
}

TEST_F(StartupVerdict, WithATimeoutOfZeroAnswersGivenDuringTheInitialisationCount) {
    addV2("a");
    addV2("b");

    EXPECT_TRUE(start(seconds(0)));
}

TEST_F(StartupVerdict, ANegativeTimeoutIsAsZero) {
    addV2("a");
    addV2("b", stayAway);
    const TraceCapture trace;

    EXPECT_FALSE(start(seconds(-1)));

    EXPECT_THAT(trace.messages("INFO"), ElementsAre(noResponse("b", "-1")));
    EXPECT_EQ(trace.count("TRACE1", "'a' successfully initialized"), 1U);
}

TEST_F(StartupVerdict, TheMostNegativeTimeoutHasPassed) {
    addV2("a", stayAway);
    const TraceCapture trace({"INFO"});

    EXPECT_FALSE(start(seconds::min()));

    EXPECT_THAT(trace.messages("INFO"), ElementsAre(noResponse("a", "-9223372036854775808")));
}

TEST_F(StartupVerdict, TheLargestTimeoutDoesNotPass) {
    std::thread worker;
    addV2("a", [&worker](const Responder& responder) {
        worker = std::thread([responder] { responder->ready(true); });
    });

    EXPECT_TRUE(start(seconds::max()));
    worker.join();
}

TEST_F(StartupVerdict, AnAnswerAfterTheRegistryHasGivenUpChangesNothing) {
    Responder kept;
    addV2("a", [&kept](const Responder& responder) { kept = responder; });
    EXPECT_FALSE(start(seconds(0)));
    takeNotes();
    const TraceCapture trace;

    EXPECT_NO_THROW(kept->ready(true));

    EXPECT_THAT(takeNotes(), IsEmpty());
    EXPECT_THAT(trace.events(), IsEmpty());
}

// Only the participant that gives it hears of it.
TEST_F(StartupVerdict, ASecondAnswerAfterTheRegistryHasGivenUpThrowsAndChangesNothing) {
    Responder kept;
    addV2("a", [&kept](const Responder& responder) { kept = responder; });
    EXPECT_FALSE(start(seconds(0)));
    kept->ready(true);
    takeNotes();
    const TraceCapture trace;

    EXPECT_THROW(kept->ready(false), std::future_error);

    EXPECT_THAT(takeNotes(), IsEmpty());
    EXPECT_THAT(trace.events(), IsEmpty());
}

TEST_F(StartupVerdict, AResponderOutlivesTheRegistryIfItIsKept) {
    Responder kept;
    addV2("a", [&kept](const Responder& responder) { kept = responder; });
    EXPECT_FALSE(start(seconds(0)));

    registry_.reset();

    EXPECT_NO_THROW(kept->ready(true));
}

TEST_F(StartupVerdict, ASecondAnswerBeforeTheRegistryHasTakenTheFirstThrows) {
    addV2("a", [](const Responder& responder) {
        responder->ready(true);
        EXPECT_THROW(responder->ready(false), std::future_error);
    });

    EXPECT_TRUE(start()) << "the first answer counts";
}

TEST_F(StartupVerdict, ASecondAnswerAfterTheRegistryHasTakenTheFirstDoesNothing) {
    Responder kept;
    addV2(
        "a",
        [&kept](const Responder& responder) {
            kept = responder;
            responder->ready(true);
        },
        [&kept] { EXPECT_NO_THROW(kept->ready(false)); });

    EXPECT_TRUE(start());
}

TEST_F(StartupVerdict, AV2CreatorThatReturnsNoParticipantKeepsAllFromStarting) {
    registry_->registerParticipantCreator(
        [] { return std::shared_ptr<QuoriaTest::V2Participant::Base>(); });
    addV1("a");
    addV2("b");
    const TraceCapture trace;

    EXPECT_FALSE(start());

    EXPECT_THAT(takeNotes(), ElementsAre("create b", "init b"));
    EXPECT_THAT(trace.messages("INFO"), ElementsAre(kNoParticipant));
    EXPECT_EQ(trace.count("TRACE1", "'b' successfully initialized"), 1U);
}

TEST_F(StartupVerdict, TheOnlyV2CreatorMayReturnNoParticipant) {
    registry_->registerParticipantCreator(
        [] { return std::shared_ptr<QuoriaTest::V2Participant::Base>(); });

    EXPECT_FALSE(start());
}

TEST_F(StartupVerdict, AV1CreatorThatReturnsNoParticipantFailsTheStartupButStopsNobody) {
    registry_->registerParticipantCreator(
        [] { return std::shared_ptr<QuoriaTest::V1Participant::Base>(); });
    addV1("a");
    addV2("b");
    const TraceCapture trace;

    EXPECT_FALSE(start());

    EXPECT_THAT(takeNotes(), ElementsAre("create b", "init b", "create a", "start a", "start b"));
    EXPECT_THAT(trace.messages("INFO"), ElementsAre(kNoParticipant));
    EXPECT_EQ(trace.count("TRACE1", "Starting participant"), 1U);
}

}  // namespace
