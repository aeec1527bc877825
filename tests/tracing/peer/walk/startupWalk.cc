#include "walk.h"

#include <quoria/startup/startupParticipantIf.h>
#include <quoria/startup/startupRegistryIf.h>

#include <chrono>
#include <memory>
#include <utility>

namespace TraceWalk {

namespace {

namespace V1 = Quoria::Startup::V1;
namespace V2 = Quoria::Startup::V2;
using Quoria::StartupRegistry::V1::StartupRegistryIf;

class OldParticipant : public V1::StartupParticipantIf {
public:
    void start() override {}
};

enum class Answer { SUCCESS, FAILURE, NONE };

class Participant : public V2::StartupParticipantIf {
public:
    Participant(std::string name, Answer answer) : name_(std::move(name)), answer_(answer) {}

    void init(const std::shared_ptr<InitResponderIf>& responder) override {
        if (answer_ != Answer::NONE) {
            responder->ready(answer_ == Answer::SUCCESS);
        }
    }
    void start() override {}
    std::string getName() override { return name_; }

private:
    const std::string name_;
    const Answer answer_;
};

void add(const std::string& name, Answer answer) {
    StartupRegistryIf::getInstance().registerParticipantCreator(
        [name, answer] { return std::make_shared<Participant>(name, answer); });
}

}  // namespace

void walkStartup() {
    StartupRegistryIf& registry = StartupRegistryIf::getInstance();
    registry.registerParticipantCreator([] { return std::make_shared<OldParticipant>(); });
    add("willing", Answer::SUCCESS);
    require(registry.startAllParticipants(std::chrono::seconds(60)), "the startup has failed");
}

void walkFailedStartup() {
    StartupRegistryIf& registry = StartupRegistryIf::getInstance();
    registry.registerParticipantCreator([] { return std::shared_ptr<Participant>(); });
    add("unable", Answer::FAILURE);
    add("silent", Answer::NONE);
    require(!registry.startAllParticipants(std::chrono::seconds(1)), "the startup has not failed");
}

}  // namespace TraceWalk
