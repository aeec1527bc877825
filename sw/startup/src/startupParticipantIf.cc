#include <quoria/startup/startupParticipantIf.h>

// Defined here so that the vtables are in the library alone.

namespace Quoria::Startup::V1 {

StartupParticipantIf::~StartupParticipantIf() = default;

}  // namespace Quoria::Startup::V1

namespace Quoria::Startup::V2 {

StartupParticipantIf::InitResponderIf::~InitResponderIf() = default;
StartupParticipantIf::~StartupParticipantIf() = default;

}  // namespace Quoria::Startup::V2
