#include "failingCalls.h"
#include "walk.h"

#include <quoria/command/commandIf.h>
#include <quoria/command/commandRegistryIf.h>
#include <quoria/itc/itcOperations.h>

#include <sstream>
#include <vector>

namespace TraceWalk {

namespace {

namespace CommandTypes = Quoria::CommandTypes;
namespace Itc = Quoria::Itc;
using Quoria::Command::V1::CommandIf;
using Quoria::CommandRegistry::V1::CommandRegistryIf;

CommandTypes::CommandResultCode succeed(const std::vector<std::string>&, std::ostream&) {
    return CommandTypes::Success;
}

void awaitMailbox(const char* name) {
    constexpr std::uint32_t kFound = 0x7002;
    itc_msg* found = Itc::alloc(4, kFound);
    Itc::locateAsync(name, &found);
    const std::uint32_t filter[] = {1, kFound};
    Itc::wrap(Itc::receive(filter, Itc::kItcWaitForever));
}

}  // namespace

void walkConcurrentCommands() {
    Itc::createMailbox("");
    CommandRegistryIf::getInstance()->registerCommandHandler("aside", succeed, true);
    awaitMailbox("RCI:aside");
    const auto command = CommandIf::create("aside");
    std::ostringstream out;
    refuseMailbox("cmdHandler:aside");
    require(command->execute({}, out) == CommandTypes::Failed, "a mailbox was not refused");
    require(command->execute({}, out) == CommandTypes::Success, "a command has failed");
}

// At the exit of the process the registry waits until everything posted to it has run.
void walkRegistryWithoutMailbox() {
    refuseMailbox("RciServer");
    CommandRegistryIf::getInstance()->registerCommandHandler("unserved", succeed, true);
}

}  // namespace TraceWalk
