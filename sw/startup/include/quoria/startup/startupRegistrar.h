// startupRegistrar.h: registers a component at the startup registry while the program is loaded.
//
// Public header.
//
// A component defines one static registrar in a source file of its own:
//
//   namespace {
//   const Quoria::Startup::V2::StartupRegistrar registrar([] { return std::make_shared<Clock>();
//   });
//   }
//
// The order of registration is that of static initialisation: within a source file from top to
// bottom, between source files as the linker has put them, and a shared library before the program
// that is linked to it. A registrar may also be an ordinary object; its end changes nothing. The
// source file of a static library is only linked, and its registrar with it, if something refers to
// it. The registry keeps the creator until the process ends: a shared library that holds one must
// stay loaded.
#ifndef QUORIA_STARTUP_STARTUPREGISTRAR_H
#define QUORIA_STARTUP_STARTUPREGISTRAR_H

#include <quoria/startup/startupParticipantIf.h>
#include <quoria/util/export.h>

#include <functional>
#include <memory>

namespace Quoria::Startup::V1 {

class QUORIA_EXPORT StartupRegistrar {
public:
    // Registers a copy of `creator`, as StartupRegistryIf::registerParticipantCreator() does.
    // Thread: owner
    explicit StartupRegistrar(
        const std::function<std::shared_ptr<StartupParticipantIf>()>& creator);
};

}  // namespace Quoria::Startup::V1

namespace Quoria::Startup::V2 {

class QUORIA_EXPORT StartupRegistrar {
public:
    // Registers a copy of `creator`, as StartupRegistryIf::registerParticipantCreator() does.
    // Thread: owner
    explicit StartupRegistrar(
        const std::function<std::shared_ptr<StartupParticipantIf>()>& creator);
};

}  // namespace Quoria::Startup::V2

#endif
