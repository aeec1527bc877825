#include <quoria/startup/startupRegistrar.h>

#include <quoria/startup/startupRegistryIf.h>

namespace Quoria::Startup::V1 {

StartupRegistrar::StartupRegistrar(
    const std::function<std::shared_ptr<StartupParticipantIf>()>& creator) {
    StartupRegistry::V1::StartupRegistryIf::getInstance().registerParticipantCreator(creator);
}

}  // namespace Quoria::Startup::V1

namespace Quoria::Startup::V2 {

StartupRegistrar::StartupRegistrar(
    const std::function<std::shared_ptr<StartupParticipantIf>()>& creator) {
    StartupRegistry::V1::StartupRegistryIf::getInstance().registerParticipantCreator(creator);
}

}  // namespace Quoria::Startup::V2
