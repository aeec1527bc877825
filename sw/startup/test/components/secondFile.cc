// Components in another source file of the program.
#include "notedParticipants.h"

#include <quoria/startup/startupRegistrar.h>

namespace {

const Quoria::Startup::V2::StartupRegistrar registrars[] = {
    Quoria::Startup::V2::StartupRegistrar(QuoriaTest::v2Component("second 1")),
    Quoria::Startup::V2::StartupRegistrar(QuoriaTest::v2Component("second 2")),
    Quoria::Startup::V2::StartupRegistrar(QuoriaTest::v2Component("second 3")),
};
const Quoria::Startup::V1::StartupRegistrar oldRegistrar(QuoriaTest::v1Component("second old"));

}  // namespace
