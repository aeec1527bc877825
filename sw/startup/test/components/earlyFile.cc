// A component whose static object comes before all that have no priority, those of the registry's
// own files included.
#include "earlyFile.h"

#include <quoria/startup/startupRegistrar.h>

#include <memory>

namespace QuoriaTest {

namespace {

int starts = 0;

class Early : public Quoria::Startup::V1::StartupParticipantIf {
public:
    void start() override { ++starts; }
};

// 101 is the first priority that is not the compiler's own.
__attribute__((init_priority(101)))
const Quoria::Startup::V1::StartupRegistrar registrar([] { return std::make_shared<Early>(); });

}  // namespace

int startsOfTheEarlyComponent() {
    return starts;
}

}  // namespace QuoriaTest
