#include <quoria/command/commandExecutionJobIf.h>

namespace Quoria::CommandRegistry::V1 {

CommandExecutionJobIf::~CommandExecutionJobIf() = default;

}  // namespace Quoria::CommandRegistry::V1
