// notedParticipants.h: participants of components all over a process, and the note that they leave.
//
// Test support, in a shared library that the test program is linked to.
//
// One thread at a time.
#ifndef QUORIA_STARTUP_TEST_COMPONENTS_NOTEDPARTICIPANTS_H
#define QUORIA_STARTUP_TEST_COMPONENTS_NOTEDPARTICIPANTS_H

#include <quoria/startup/startupParticipantIf.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace QuoriaTest {

// The names of the participants in the order in which they were created.
QUORIA_EXPORT std::vector<std::string>& created();
// And in which they were started.
QUORIA_EXPORT std::vector<std::string>& started();

using V1Creator = std::function<std::shared_ptr<Quoria::Startup::V1::StartupParticipantIf>()>;
using V2Creator = std::function<std::shared_ptr<Quoria::Startup::V2::StartupParticipantIf>()>;

// Creators of participants that note their names, and that they are initialised at once.
QUORIA_EXPORT V1Creator v1Component(const std::string& name);
QUORIA_EXPORT V2Creator v2Component(const std::string& name);

}  // namespace QuoriaTest

#endif
