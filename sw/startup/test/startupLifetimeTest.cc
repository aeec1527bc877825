// Repeated startups, reset(), exceptions, and who keeps participants for how long.
#include "startupFixture.h"

#include <quoria/trace/trace.h>
#include <quoriaTest/traceCapture.h>

#include <stdexcept>
#include <utility>

namespace {

using QuoriaTest::Responder;
using QuoriaTest::StartupRegistryImpl;
using QuoriaTest::TraceCapture;
using QuoriaTest::V1Participant;
using QuoriaTest::V2Participant;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

class StartupLifetime : public QuoriaTest::StartupFixture {
protected:
    static void misbehave() { throw std::runtime_error("not today"); }
};

TEST_F(StartupLifetime, ParticipantsLiveAsLongAsTheRegistry) {
    addV1("a");
    addV2("b");
    start();
    takeNotes();

    registry_.reset();

    EXPECT_THAT(takeNotes(), UnorderedElementsAre("end a", "end b"));
}

TEST_F(StartupLifetime, ParticipantsOfAFailedStartupLiveOnToo) {
    addV2("a", fail);
    EXPECT_FALSE(start());
    EXPECT_THAT(takeNotes(), ElementsAre("create a", "init a"));

    registry_.reset();

    EXPECT_THAT(takeNotes(), ElementsAre("end a"));
}

TEST_F(StartupLifetime, ASecondStartupCreatesAllAgainAndStartsTheOldV2ParticipantsOnceMore) {
    addV1("a");
    addV2("b");
    start();
    takeNotes();

    EXPECT_TRUE(start());

    EXPECT_THAT(takeNotes(),
                ElementsAre("create b", "init b", "create a", "start a", "start b", "start b"));
}

TEST_F(StartupLifetime, ParticipantsOfAFailedStartupAreStartedWithThoseOfTheNext) {
    int answers = 0;
    addV2("a", [&answers](const Responder& responder) { responder->ready(++answers == 2); });
    EXPECT_FALSE(start());
    takeNotes();

    EXPECT_TRUE(start());

    EXPECT_THAT(takeNotes(), ElementsAre("create a", "init a", "start a", "start a"));
}

TEST_F(StartupLifetime, AResetLetsTheParticipantsGoAndKeepsTheCreators) {
    addV1("a");
    addV2("b");
    start();
    takeNotes();

    registry_->reset();
    EXPECT_THAT(takeNotes(), UnorderedElementsAre("end a", "end b"));
    EXPECT_TRUE(start());

    EXPECT_THAT(takeNotes(), ElementsAre("create b", "init b", "create a", "start a", "start b"));
}

TEST_F(StartupLifetime, AParticipantThatSomebodyElseHoldsOutlivesAReset) {
    const auto participant = std::make_shared<V1Participant>("a", notes_, nothing);
    registry_->registerParticipantCreator([participant] { return participant; });
    start();
    takeNotes();

    registry_->reset();

    EXPECT_THAT(takeNotes(), IsEmpty());
}

TEST_F(StartupLifetime, AResetOfAFreshRegistryDoesNothing) {
    registry_->reset();

    EXPECT_TRUE(start());
}

TEST_F(StartupLifetime, AResponderGoesWithTheStartupUnlessItIsKept) {
    std::weak_ptr<Responder::element_type> watched;
    addV2("a", [&watched](const Responder& responder) {
        watched = responder;
        responder->ready(true);
    });

    start();

    EXPECT_TRUE(watched.expired());
}

TEST_F(StartupLifetime, ACreatorKeepsItsStateFromOneStartToTheNext) {
    std::vector<int> seen;
    registry_->registerParticipantCreator(
        [this, &seen, calls = 0]() mutable -> std::shared_ptr<V1Participant::Base> {
            seen.push_back(++calls);
            return std::make_shared<V1Participant>("a", notes_, nothing);
        });

    start();
    start();

    EXPECT_THAT(seen, ElementsAre(1, 2));
}

TEST_F(StartupLifetime, CreatorsLiveAsLongAsTheRegistry) {
    auto state = std::make_shared<int>(1);
    const std::weak_ptr<int> watch = state;
    registry_->registerParticipantCreator(
        [state] { return std::shared_ptr<V1Participant::Base>(); });
    registry_->registerParticipantCreator(
        [state] { return std::shared_ptr<V2Participant::Base>(); });
    state.reset();
    EXPECT_EQ(watch.use_count(), 2);
    start();
    registry_->reset();
    EXPECT_EQ(watch.use_count(), 2);

    registry_.reset();

    EXPECT_TRUE(watch.expired());
}

TEST_F(StartupLifetime, AnEmptyV1CreatorThrowsAndTheParticipantsBeforeItStay) {
    addV1("a");
    registry_->registerParticipantCreator(std::function<std::shared_ptr<V1Participant::Base>()>());
    addV1("b");
    addV2("c");

    EXPECT_THROW(start(), std::bad_function_call);

    EXPECT_THAT(takeNotes(), ElementsAre("create c", "init c", "create a", "start a"));
    registry_->reset();
    EXPECT_THAT(takeNotes(), UnorderedElementsAre("end a", "end c"));
}

TEST_F(StartupLifetime, AnEmptyV2CreatorThrowsAndTheParticipantsBeforeItStay) {
    addV2("a");
    registry_->registerParticipantCreator(std::function<std::shared_ptr<V2Participant::Base>()>());
    addV2("b");

    EXPECT_THROW(start(), std::bad_function_call);

    EXPECT_THAT(takeNotes(), ElementsAre("create a", "init a"));
    registry_->reset();
    EXPECT_THAT(takeNotes(), ElementsAre("end a"));
}

TEST_F(StartupLifetime, WhatAV1CreatorThrowsPassesThroughAndTheParticipantsBeforeItStay) {
    addV1("a");
    registry_->registerParticipantCreator(
        []() -> std::shared_ptr<V1Participant::Base> { throw std::runtime_error("not today"); });
    addV1("b");
    addV2("c");

    EXPECT_THROW(start(), std::runtime_error);

    EXPECT_THAT(takeNotes(), ElementsAre("create c", "init c", "create a", "start a"));
    registry_->reset();
    EXPECT_THAT(takeNotes(), UnorderedElementsAre("end a", "end c"));
}

TEST_F(StartupLifetime, WhatAV2CreatorThrowsPassesThroughAndTheParticipantsBeforeItStay) {
    addV2("a");
    registry_->registerParticipantCreator(
        []() -> std::shared_ptr<V2Participant::Base> { throw std::runtime_error("not today"); });
    addV2("b");

    EXPECT_THROW(start(), std::runtime_error);

    EXPECT_THAT(takeNotes(), ElementsAre("create a", "init a"));
    registry_->reset();
    EXPECT_THAT(takeNotes(), ElementsAre("end a"));
}

TEST_F(StartupLifetime, WhatAnInitialisationThrowsPassesThroughAndTheParticipantStays) {
    addV2("a", [](const Responder&) { misbehave(); });
    addV2("b");

    EXPECT_THROW(start(), std::runtime_error);

    EXPECT_THAT(takeNotes(), ElementsAre("create a", "init a"));
}

TEST_F(StartupLifetime, WhatAV1StartThrowsPassesThroughAndTheParticipantStays) {
    addV1("a", misbehave);
    addV1("b");
    addV2("c");

    EXPECT_THROW(start(), std::runtime_error);

    EXPECT_THAT(takeNotes(), ElementsAre("create c", "init c", "create a", "start a"));
}

TEST_F(StartupLifetime, WhatAV2StartThrowsPassesThrough) {
    addV2("a", succeed, misbehave);
    addV2("b");

    EXPECT_THROW(start(), std::runtime_error);

    EXPECT_THAT(takeNotes(), ElementsAre("create a", "init a", "create b", "init b", "start a"));
}

TEST_F(StartupLifetime, WhatTheNameThrowsPassesThroughAndTheParticipantStays) {
    class Nameless : public V2Participant {
    public:
        using V2Participant::V2Participant;
        std::string getName() override { throw std::runtime_error("no name"); }
    };
    registry_->registerParticipantCreator(
        [this] { return std::make_shared<Nameless>("a", notes_, succeed, nothing); });

    EXPECT_THROW(start(), std::runtime_error);

    EXPECT_THAT(takeNotes(), ElementsAre("create a"));
}

// Tells its name once.
class Forgetful : public V2Participant {
public:
    using V2Participant::V2Participant;
    std::string getName() override {
        if (std::exchange(asked_, true)) {
            throw std::runtime_error("no name any more");
        }
        return V2Participant::getName();
    }

private:
    bool asked_ = false;
};

TEST_F(StartupLifetime, WhatTheNameThrowsBeforeTheStartPassesThroughAndTheParticipantsStay) {
    const TraceCapture trace({"TRACE1"});
    addV1("a");
    addV2("b");
    registry_->registerParticipantCreator(
        [this] { return std::make_shared<Forgetful>("c", notes_, succeed, nothing); });

    EXPECT_THROW(start(), std::runtime_error);

    EXPECT_THAT(takeNotes(), ElementsAre("create b", "init b", "create c", "init c", "create a",
                                         "start a", "start b"));
    EXPECT_EQ(trace.messages("TRACE1").back(), "Starting 'b'");
    registry_->reset();
    EXPECT_THAT(takeNotes(), UnorderedElementsAre("end a", "end b", "end c"));
}

TEST_F(StartupLifetime, WithoutATracerANameThatWouldThrowBeforeTheStartIsNotAskedFor) {
    if (QTRACE_TRACE1_ENABLED()) {
        GTEST_SKIP() << "somebody on this machine records the events of all processes";
    }
    registry_->registerParticipantCreator(
        [this] { return std::make_shared<Forgetful>("a", notes_, succeed, nothing); });

    EXPECT_TRUE(start());

    EXPECT_THAT(takeNotes(), ElementsAre("create a", "init a", "start a"));
}

TEST_F(StartupLifetime, AParticipantMayResetTheRegistryDuringItsInitialisation) {
    addV2("a", [this](const Responder& responder) {
        registry_->reset();
        responder->ready(true);
    });
    addV2("b");

    EXPECT_TRUE(start());

    EXPECT_THAT(takeNotes(),
                ElementsAre("create a", "init a", "end a", "create b", "init b", "start b"))
        << "who has gone is not started";
}

TEST_F(StartupLifetime, AParticipantMayResetTheRegistryDuringItsStart) {
    addV1("a", [this] { registry_->reset(); });
    addV1("b");
    addV2("c");
    addV2("d");

    EXPECT_TRUE(start());

    EXPECT_THAT(takeNotes(),
                ElementsAre("create c", "init c", "create d", "init d", "create a", "start a",
                            "end c", "end d", "end a", "create b", "start b"));
}

TEST_F(StartupLifetime, AV2ParticipantMayResetTheRegistryDuringItsStart) {
    addV2("a", succeed, [this] { registry_->reset(); });
    addV2("b");

    EXPECT_TRUE(start());

    EXPECT_THAT(takeNotes(), ElementsAre("create a", "init a", "create b", "init b", "start a",
                                         "end b", "end a"));
}

// Calls the registry as it goes.
class Reluctant : public V1Participant {
public:
    Reluctant(QuoriaTest::Notes& notes, StartupRegistryImpl& registry)
        : V1Participant("a", notes, [] {}), registry_(registry) {}
    ~Reluctant() override {
        registry_.reset();
        for (int i = 0; i < 100; ++i) {
            registry_.registerParticipantCreator(
                [] { return std::shared_ptr<V1Participant::Base>(); });
            registry_.registerParticipantCreator(
                [] { return std::shared_ptr<V2Participant::Base>(); });
        }
    }

private:
    StartupRegistryImpl& registry_;
};

TEST_F(StartupLifetime, AParticipantMayCallTheRegistryAsItGoesInAReset) {
    registry_->registerParticipantCreator(
        [this] { return std::make_shared<Reluctant>(notes_, *registry_); });
    addV1("b");
    addV2("c");
    start();
    takeNotes();

    registry_->reset();

    EXPECT_THAT(takeNotes(), UnorderedElementsAre("end a", "end b", "end c"));
    EXPECT_FALSE(start()) << "what it has registered creates nobody";
}

TEST_F(StartupLifetime, AParticipantMayCallTheRegistryAsThatGoes) {
    registry_->registerParticipantCreator(
        [this] { return std::make_shared<Reluctant>(notes_, *registry_); });
    addV1("b");
    addV2("c");
    start();
    takeNotes();

    registry_.reset();

    EXPECT_THAT(takeNotes(), UnorderedElementsAre("end a", "end b", "end c"));
}

}  // namespace
