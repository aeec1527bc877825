#include <quoria/itcMailboxMonitor/itcMailboxMonitorIf.h>

#include "itcMailboxMonitorImpl.h"

namespace Quoria::ItcMailboxMonitor::V1 {

ItcMailboxMonitorIf& ItcMailboxMonitorIf::getInstance() {
    return ItcMailboxMonitorImpl::getInstance();
}

// Defined here so that the vtable is in the library alone.
ItcMailboxMonitorIf::~ItcMailboxMonitorIf() = default;

}  // namespace Quoria::ItcMailboxMonitor::V1
