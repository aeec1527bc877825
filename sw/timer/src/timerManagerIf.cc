#include <quoria/timer/timerManagerIf.h>

#include "timerManagerImpl.h"

namespace Quoria::Timer::V1 {

TimerManagerIf& TimerManagerIf::getInstance() {
    return TimerManagerImpl::getInstance();
}

TimerManagerIf::~TimerManagerIf() = default;

}  // namespace Quoria::Timer::V1
