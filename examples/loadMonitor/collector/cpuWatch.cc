// cpuWatch.cc: the component with the command "watch": a second of the processors, in five steps.
//
// The command waits between its steps. It may, because it is a concurrent one: it has a thread of
// its own, and whoever called it sees each line when it is written.

#include <quoria/command/commandRegistryIf.h>
#include <quoria/startup/startupRegistrar.h>

#include <chrono>
#include <string>
#include <thread>

#include "loadReader.h"

namespace LoadMonitor {

namespace {

using namespace std::chrono_literals;
using namespace Quoria::CommandTypes;
using Quoria::CommandRegistry::V1::CommandRegistryIf;
using Quoria::Startup::V1::StartupParticipantIf;
using Quoria::Startup::V1::StartupRegistrar;

CommandResultCode watch(const std::vector<std::string>& args, std::ostream& out) {
    if (!args.empty()) {
        out << "usage: watch\n";
        return InvalidArguments;
    }
    LoadReader reader;
    reader.read();
    for (int step = 1; step <= 5; ++step) {
        std::this_thread::sleep_for(200ms);
        const auto load = reader.read();
        if (!load) {
            out << "watch: can't read the load from " + reader.folder() + "\n";
            return Failed;
        }
        const std::size_t stars = load->cpuPermille / 25;
        out << std::to_string(step) + "  " + std::string(stars, '*') +
                   std::string(40 - stars, '.') + "\n";
    }
    return Success;
}

class CpuWatch : public StartupParticipantIf {
public:
    void start() override {
        CommandRegistryIf::getInstance()->registerCommandHandler("watch", watch, true);
    }
};

const StartupRegistrar registrar([] { return std::make_shared<CpuWatch>(); });

}  // namespace

}  // namespace LoadMonitor
