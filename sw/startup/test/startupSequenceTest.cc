// What happens in which order when all goes well, and what is traced of it.
#include "startupFixture.h"

#include <quoria/trace/trace.h>
#include <quoriaTest/traceCapture.h>

#include <thread>

namespace {

using QuoriaTest::Responder;
using QuoriaTest::TraceCapture;
using testing::ElementsAre;
using testing::IsEmpty;

class StartupSequence : public QuoriaTest::StartupFixture {
protected:
    // The events as "TRACE1: text".
    static std::vector<std::string> shown(const TraceCapture& trace) {
        std::vector<std::string> texts;
        for (const auto& event : trace.events()) {
            texts.push_back(event.name + ": " + event.msg);
        }
        return texts;
    }
};

TEST_F(StartupSequence, WithoutCreatorsItSucceedsAndEmitsNothing) {
    const TraceCapture trace;

    EXPECT_TRUE(start());

    EXPECT_THAT(trace.events(), IsEmpty());
}

TEST_F(StartupSequence, V1ParticipantsAreEachCreatedAndStartedInTheOrderOfRegistration) {
    addV1("a");
    addV1("b");
    const TraceCapture trace;

    EXPECT_TRUE(start());

    EXPECT_THAT(takeNotes(), ElementsAre("create a", "start a", "create b", "start b"));
    EXPECT_THAT(shown(trace),
                ElementsAre("TRACE1: Starting participant", "TRACE1: Starting participant"));
}

TEST_F(StartupSequence, TheTraceOfAV1ParticipantPrecedesItsStart) {
    const TraceCapture trace;
    std::size_t traced = 0;
    addV1("a", [&trace, &traced] { traced = trace.events().size(); });

    start();

    EXPECT_EQ(traced, 1U);
}

TEST_F(StartupSequence, V2ParticipantsAreAllInitialisedBeforeAnyIsStarted) {
    addV2("a");
    addV2("b");
    const TraceCapture trace;

    EXPECT_TRUE(start());

    EXPECT_THAT(takeNotes(),
                ElementsAre("create a", "init a", "create b", "init b", "start a", "start b"));
    EXPECT_THAT(shown(trace), ElementsAre("TRACE1: Initializing 'a'", "TRACE1: Initializing 'b'",
                                          "TRACE1: 'a' successfully initialized",
                                          "TRACE1: 'b' successfully initialized",
                                          "TRACE1: Starting 'a'", "TRACE1: Starting 'b'"));
}

TEST_F(StartupSequence, TheTracesOfAV2ParticipantPrecedeItsCalls) {
    const TraceCapture trace;
    std::vector<std::size_t> traced;
    addV2(
        "a",
        [&trace, &traced](const Responder& responder) {
            traced.push_back(trace.events().size());
            responder->ready(true);
        },
        [&trace, &traced] { traced.push_back(trace.events().size()); });

    start();

    EXPECT_THAT(traced, ElementsAre(1U, 3U));
}

TEST_F(StartupSequence, V1ParticipantsAreCreatedBetweenTheInitialisationAndTheStartOfTheV2Ones) {
    addV1("a");
    addV2("b");
    addV1("c");

    EXPECT_TRUE(start());

    EXPECT_THAT(takeNotes(), ElementsAre("create b", "init b", "create a", "start a", "create c",
                                         "start c", "start b"));
}

TEST_F(StartupSequence, TheLibrarysTracesHaveNoObject) {
    addV1("a");
    addV2("b");
    const TraceCapture trace({"TRACE1"});

    start();

    EXPECT_EQ(trace.events().size(), 4U);
    for (const auto& event : trace.events()) {
        EXPECT_EQ(event.obj, "-") << event.msg;
    }
}

TEST_F(StartupSequence, WithoutATracerAV2ParticipantIsAskedForItsNameOnce) {
    if (QTRACE_TRACE1_ENABLED()) {
        GTEST_SKIP() << "somebody on this machine records the events of all processes";
    }
    addV2("a");

    start();

    EXPECT_THAT(takeAllNotes(), ElementsAre("create a", "name a", "init a", "start a"));
}

TEST_F(StartupSequence, ATracerHasItAskedAgainBeforeTheStart) {
    addV2("a");
    const TraceCapture trace({"TRACE1"});

    start();

    EXPECT_THAT(takeAllNotes(), ElementsAre("create a", "name a", "init a", "name a", "start a"));
}

TEST_F(StartupSequence, AnAnswerMayComeFromAnotherThread) {
    std::thread worker;
    addV2("a", [&worker](const Responder& responder) {
        worker = std::thread([responder] { responder->ready(true); });
    });
    addV2("b");

    EXPECT_TRUE(start());
    worker.join();

    EXPECT_THAT(takeNotes(),
                ElementsAre("create a", "init a", "create b", "init b", "start a", "start b"));
}

TEST_F(StartupSequence, AnAnswerMayComeFromAParticipantThatIsInitialisedLater) {
    Responder waiting;
    addV2("a", [&waiting](const Responder& responder) { waiting = responder; });
    addV2("b", [&waiting](const Responder& responder) {
        responder->ready(true);
        waiting->ready(true);
    });

    EXPECT_TRUE(start());
}

TEST_F(StartupSequence, ACreatorIsCopied) {
    int created = 0;
    std::function<std::shared_ptr<QuoriaTest::V1Participant::Base>()> creator = [this, &created] {
        ++created;
        return std::make_shared<QuoriaTest::V1Participant>("a", notes_, nothing);
    };
    registry_->registerParticipantCreator(creator);

    creator = nullptr;
    EXPECT_TRUE(start());

    EXPECT_EQ(created, 1);
}

// What a creator has captured, small enough to be kept in the registry's table, must still be there
// after the table has grown.
TEST_F(StartupSequence, AV1CreatorMayRegisterFurtherOnesWhichAreServedToo) {
    registry_->registerParticipantCreator([this, name = "early"] {
        for (int i = 0; i < 100; ++i) {
            addV1("late");
        }
        return std::make_shared<QuoriaTest::V1Participant>(name, notes_, nothing);
    });

    EXPECT_TRUE(start());

    const QuoriaTest::Notes notes = takeNotes();
    EXPECT_EQ(notes.size(), 101U * 2);
    EXPECT_EQ(notes.front(), "create early");
}

TEST_F(StartupSequence, AV2CreatorMayRegisterFurtherOnesWhichAreServedToo) {
    registry_->registerParticipantCreator([this, name = "early"] {
        for (int i = 0; i < 100; ++i) {
            addV2("late");
        }
        return std::make_shared<QuoriaTest::V2Participant>(name, notes_, succeed, nothing);
    });

    EXPECT_TRUE(start());

    const QuoriaTest::Notes notes = takeNotes();
    EXPECT_EQ(notes.size(), 101U * 3);
    EXPECT_EQ(notes.front(), "create early");
}

TEST_F(StartupSequence, AParticipantMayRegisterCreatorsDuringItsStart) {
    addV1("a", [this] {
        for (int i = 0; i < 100; ++i) {
            addV1("late");
        }
    });

    EXPECT_TRUE(start());

    EXPECT_EQ(takeNotes().size(), 101U * 2);
}

}  // namespace
