#include <quoria/timer/timeoutReceiverIf.h>

namespace Quoria::Timer::V1 {

TimeoutReceiverIf::~TimeoutReceiverIf() = default;

}  // namespace Quoria::Timer::V1
