// Components in a shared library that the running program loads.
#include "notedParticipants.h"

#include <quoria/startup/startupRegistrar.h>

namespace {

const Quoria::Startup::V2::StartupRegistrar registrar(QuoriaTest::v2Component("loaded"));
const Quoria::Startup::V1::StartupRegistrar oldRegistrar(QuoriaTest::v1Component("loaded old"));

// Has code of its own for the registry to call.
class Own : public Quoria::Startup::V1::StartupParticipantIf {
public:
    void start() override { QuoriaTest::started().push_back("loaded own"); }
};
const Quoria::Startup::V1::StartupRegistrar ownRegistrar([] { return std::make_shared<Own>(); });

}  // namespace
