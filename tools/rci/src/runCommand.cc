#include "runCommand.h"

#include "commandOutput.h"
#include "exitCodes.h"
#include "ownMailbox.h"
#include "standardStreams.h"

#include <quoria/command/commandIf.h>

#include <itc_admin.h>

#include <ostream>

namespace Rci {

int runCommand(const std::string& name, const std::vector<std::string>& args) {
    createOwnMailbox();
    CommandOutput buffer(name, writeOutput);
    std::ostream output(&buffer);
    output.exceptions(std::ios::badbit);  // what writeOutput throws ends the execution

    const auto result = Quoria::Command::V1::CommandIf::create(name)->execute(args, output);

    if (const auto failure = buffer.finish()) {
        // Whoever finds no command may have looked in the wrong place.
        complain(failure->exitCode == kExitNoCommand
                     ? failure->line + " (in mailbox domain " + itc_domain_path() + ")"
                     : failure->line);
        return failure->exitCode;
    }
    return static_cast<int>(result);
}

}  // namespace Rci
