#include "startupRegistryImpl.h"

#include "initResponderImpl.h"

#include <quoria/trace/trace.h>

#include <algorithm>
#include <utility>

namespace Quoria::StartupRegistry::V1 {

namespace {

using Startup::V2::InitResponderImpl;
using std::chrono::seconds;
using std::chrono::steady_clock;

using Responders = std::vector<std::shared_ptr<InitResponderImpl>>;

// Now plus `timeout`, as far as the clock can count.
steady_clock::time_point deadlineAfter(const seconds& timeout) {
    const steady_clock::time_point now = steady_clock::now();
    const auto most = std::chrono::duration_cast<seconds>(steady_clock::time_point::max() - now);
    return now + std::clamp(timeout, -most, most);
}

bool collectAnswers(const Responders& responders, const seconds& timeout) {
    bool allOk = true;
    for (const auto& responder : responders) {
        bool success = false;
        if (!responder->wait(success)) {
            QTRACE_INFO("ABN: No response from startup participant '"
                        << responder->name() << "' in " << timeout.count() << " seconds");
        } else if (!success) {
            QTRACE_INFO("ABN: Initialization failed for startup participant '" << responder->name()
                                                                               << "'");
        } else {
            QTRACE_TRACE1("-", "'" << responder->name() << "' successfully initialized");
        }
        allOk = allOk && success;
    }
    return allOk;
}

// A creator that can be called while the list that holds it grows, and that yet keeps its state
// from one start to the next: all copies of it share one function.
template <typename Participant>
std::function<std::shared_ptr<Participant>()> shared(
    const std::function<std::shared_ptr<Participant>()>& creator) {
    using Creator = std::function<std::shared_ptr<Participant>()>;
    return [kept = std::make_shared<const Creator>(creator)] { return (*kept)(); };
}

void reportMissingParticipant() {
    QTRACE_INFO("ABN: No startup participant was created");
}

}  // namespace

StartupRegistryImpl::~StartupRegistryImpl() {
    reset();  // while the registry is whole, for participants that call it as they go
}

void StartupRegistryImpl::registerParticipantCreator(
    const std::function<std::shared_ptr<Startup::V1::StartupParticipantIf>()>& creator) {
    v1Creators_.push_back(shared(creator));
}

void StartupRegistryImpl::registerParticipantCreator(
    const std::function<std::shared_ptr<Startup::V2::StartupParticipantIf>()>& creator) {
    v2Creators_.push_back(shared(creator));
}

bool StartupRegistryImpl::startAllParticipants(const seconds& timeout) {
    if (!initV2Participants(timeout)) {
        return false;
    }
    const bool allCreated = startV1Participants();
    startV2Participants();
    return allCreated;
}

void StartupRegistryImpl::reset() {
    const auto v1Released = std::exchange(v1Participants_, {});
    const auto v2Released = std::exchange(v2Participants_, {});
}

bool StartupRegistryImpl::initV2Participants(const seconds& timeout) {
    bool allCreated = true;
    Responders responders;
    for (std::size_t index = 0; index < v2Creators_.size(); ++index) {
        const auto creator = v2Creators_[index];
        const auto participant = creator();
        if (participant == nullptr) {
            reportMissingParticipant();
            allCreated = false;
            continue;
        }
        v2Participants_.push_back(participant);
        const std::string name = participant->getName();
        const auto responder = std::make_shared<InitResponderImpl>(name, deadlineAfter(timeout));
        responders.push_back(responder);
        QTRACE_TRACE1("-", "Initializing '" << name << "'");
        participant->init(responder);
    }
    const bool allInitialized = collectAnswers(responders, timeout);
    return allCreated && allInitialized;
}

bool StartupRegistryImpl::startV1Participants() {
    bool allCreated = true;
    for (std::size_t index = 0; index < v1Creators_.size(); ++index) {
        const auto creator = v1Creators_[index];
        const auto participant = creator();
        if (participant == nullptr) {
            reportMissingParticipant();
            allCreated = false;
            continue;
        }
        v1Participants_.push_back(participant);
        QTRACE_TRACE1("-", "Starting participant");
        participant->start();
    }
    return allCreated;
}

void StartupRegistryImpl::startV2Participants() {
    for (std::size_t index = 0; index < v2Participants_.size(); ++index) {
        const auto participant = v2Participants_[index];
        QTRACE_TRACE1("-", "Starting '" << participant->getName() << "'");
        participant->start();
    }
}

}  // namespace Quoria::StartupRegistry::V1
