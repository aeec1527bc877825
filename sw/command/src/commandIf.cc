#include <quoria/command/commandIf.h>

#include "commandImpl.h"

namespace Quoria::Command::V1 {

std::shared_ptr<CommandIf> CommandIf::create(const std::string& name) {
    return std::make_shared<CommandImpl>(name);
}

CommandIf::~CommandIf() = default;

}  // namespace Quoria::Command::V1
