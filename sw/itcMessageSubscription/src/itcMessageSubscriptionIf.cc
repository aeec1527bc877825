#include <quoria/itcMessageSubscription/itcMessageSubscriptionIf.h>

#include "itcMessageSubscriptionImpl.h"

namespace Quoria::ItcMessageSubscription::V1 {

ItcMessageSubscriptionIf& ItcMessageSubscriptionIf::getInstance() {
    return ItcMessageSubscriptionImpl::getInstance();
}

// Defined here so that the vtable is in the library alone.
ItcMessageSubscriptionIf::~ItcMessageSubscriptionIf() = default;

}  // namespace Quoria::ItcMessageSubscription::V1
