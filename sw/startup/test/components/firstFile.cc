// Components in one source file of the program.
#include "notedParticipants.h"

#include <quoria/startup/startupRegistrar.h>

namespace {

const Quoria::Startup::V2::StartupRegistrar registrars[] = {
    Quoria::Startup::V2::StartupRegistrar(QuoriaTest::v2Component("first 1")),
    Quoria::Startup::V2::StartupRegistrar(QuoriaTest::v2Component("first 2")),
    Quoria::Startup::V2::StartupRegistrar(QuoriaTest::v2Component("first 3")),
};
const Quoria::Startup::V1::StartupRegistrar oldRegistrar(QuoriaTest::v1Component("first old"));

}  // namespace
