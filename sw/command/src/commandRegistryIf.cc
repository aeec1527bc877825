#include <quoria/command/commandRegistryIf.h>

#include "commandRegistryImpl.h"

namespace Quoria::CommandRegistry::V1 {

CommandRegistryIf* CommandRegistryIf::getInstance() {
    return CommandRegistryImpl::getInstance();
}

CommandRegistryIf::~CommandRegistryIf() = default;

}  // namespace Quoria::CommandRegistry::V1
