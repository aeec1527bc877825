#include <quoria/itcMailboxLocator/itcMailboxLocatorIf.h>

#include "itcMailboxLocatorImpl.h"

namespace Quoria::ItcMailboxLocator::V1 {

ItcMailboxLocatorIf& ItcMailboxLocatorIf::getInstance() {
    return ItcMailboxLocatorImpl::getInstance();
}

// Defined here so that the vtable is in the library alone.
ItcMailboxLocatorIf::~ItcMailboxLocatorIf() = default;

}  // namespace Quoria::ItcMailboxLocator::V1
