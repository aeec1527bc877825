// startupRegistryImpl.h: the creators and participants of a process, and the startup sequence.
//
// Private header of startup.
//
// One thread at a time may call; nothing is locked. Creators and participants may call back: they
// are reached through copies and by index, so that the tables may change under them.
#ifndef QUORIA_STARTUP_STARTUPREGISTRYIMPL_H
#define QUORIA_STARTUP_STARTUPREGISTRYIMPL_H

#include <quoria/startup/startupParticipantIf.h>

#include <chrono>
#include <functional>
#include <memory>
#include <vector>

namespace Quoria::StartupRegistry::V1 {

class StartupRegistryImpl {
public:
    StartupRegistryImpl() = default;
    ~StartupRegistryImpl();
    StartupRegistryImpl(const StartupRegistryImpl&) = delete;
    StartupRegistryImpl& operator=(const StartupRegistryImpl&) = delete;

    void registerParticipantCreator(
        const std::function<std::shared_ptr<Startup::V1::StartupParticipantIf>()>& creator);
    void registerParticipantCreator(
        const std::function<std::shared_ptr<Startup::V2::StartupParticipantIf>()>& creator);

    bool startAllParticipants(const std::chrono::seconds& timeout);

    // Lets all participants go and keeps the creators.
    void reset();

private:
    template <typename Participant>
    using Creators = std::vector<std::function<std::shared_ptr<Participant>()>>;
    template <typename Participant>
    using Participants = std::vector<std::shared_ptr<Participant>>;

    bool initV2Participants(const std::chrono::seconds& timeout);
    bool startV1Participants();
    void startV2Participants();

    Creators<Startup::V1::StartupParticipantIf> v1Creators_;
    Participants<Startup::V1::StartupParticipantIf> v1Participants_;
    Creators<Startup::V2::StartupParticipantIf> v2Creators_;
    Participants<Startup::V2::StartupParticipantIf> v2Participants_;
};

}  // namespace Quoria::StartupRegistry::V1

#endif
