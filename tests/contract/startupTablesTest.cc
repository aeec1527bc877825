// The places of the virtual operations of start-up participants and of what they answer to.

#include <quoria/startup/startupParticipantIf.h>

#include <gmock/gmock.h>

#include <memory>
#include <string>

#include "virtualTable.h"

namespace {

namespace V1 = Quoria::Startup::V1;
namespace V2 = Quoria::Startup::V2;
using Responder = V2::StartupParticipantIf::InitResponderIf;
using testing::ElementsAre;

class RecordedV1Participant : public Recorder<V1::StartupParticipantIf> {
public:
    void start() override { note("start"); }
};

using StartupParticipantV1Table = VirtualTable;

TEST_F(StartupParticipantV1Table, HasOneOperation) {
    RecordedV1Participant participant;

    Operation<void()>::callAt(0, &participant);

    EXPECT_THAT(takeCalls(), ElementsAre("start()"));
}

TEST_F(StartupParticipantV1Table, EndsWithTheDestructors) {
    EXPECT_THAT(destroyThroughTable<RecordedV1Participant>(1),
                ElementsAre("destroyed()", "-", "destroyed()", "freed()"));
}

class RecordedResponder : public Recorder<Responder> {
public:
    void ready(bool success) override { note("ready", success); }
};

using InitResponderTable = VirtualTable;

TEST_F(InitResponderTable, HasOneOperation) {
    RecordedResponder responder;

    Operation<void(bool)>::callAt(0, &responder, true);

    EXPECT_THAT(takeCalls(), ElementsAre("ready(1)"));
}

TEST_F(InitResponderTable, EndsWithTheDestructors) {
    EXPECT_THAT(destroyThroughTable<RecordedResponder>(1),
                ElementsAre("destroyed()", "-", "destroyed()", "freed()"));
}

class RecordedV2Participant : public Recorder<V2::StartupParticipantIf> {
public:
    void init(const std::shared_ptr<InitResponderIf>& responder) override {
        note("init");
        responder->ready(false);
    }
    void start() override { note("start"); }
    std::string getName() override {
        note("getName");
        return "a name that is too long to lie in the string itself";
    }
};

using StartupParticipantV2Table = VirtualTable;

TEST_F(StartupParticipantV2Table, HasThreeOperationsInTheirOrder) {
    RecordedV2Participant participant;

    {
        const std::shared_ptr<Responder> responder = std::make_shared<RecordedResponder>();
        Operation<void(const std::shared_ptr<Responder>&)>::callAt(0, &participant, responder);
    }
    Operation<void()>::callAt(1, &participant);
    EXPECT_EQ(Operation<std::string()>::callAt(2, &participant),
              "a name that is too long to lie in the string itself");

    EXPECT_THAT(takeCalls(),
                ElementsAre("init()", "ready(0)", "destroyed()", "start()", "getName()"));
}

TEST_F(StartupParticipantV2Table, EndsWithTheDestructors) {
    EXPECT_THAT(destroyThroughTable<RecordedV2Participant>(3),
                ElementsAre("destroyed()", "-", "destroyed()", "freed()"));
}

}  // namespace
