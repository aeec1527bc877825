#include <quoria/startup/startupRegistryIf.h>

#include "startupRegistryImpl.h"

namespace Quoria::StartupRegistry::V1 {

StartupRegistryIf& StartupRegistryIf::getInstance() {
    static StartupRegistryIf registry;
    return registry;
}

StartupRegistryIf::StartupRegistryIf() : impl_(std::make_unique<StartupRegistryImpl>()) {}

StartupRegistryIf::~StartupRegistryIf() = default;

void StartupRegistryIf::registerParticipantCreator(
    const std::function<std::shared_ptr<Startup::V1::StartupParticipantIf>()>& creator) {
    impl_->registerParticipantCreator(creator);
}

void StartupRegistryIf::registerParticipantCreator(
    const std::function<std::shared_ptr<Startup::V2::StartupParticipantIf>()>& creator) {
    impl_->registerParticipantCreator(creator);
}

bool StartupRegistryIf::startAllParticipants(const std::chrono::seconds& timeout) {
    return impl_->startAllParticipants(timeout);
}

void StartupRegistryIf::startParticipants() {
    // Who needs the verdict asks for it with startAllParticipants().
    static_cast<void>(startAllParticipants(std::chrono::seconds(60)));
}

}  // namespace Quoria::StartupRegistry::V1
