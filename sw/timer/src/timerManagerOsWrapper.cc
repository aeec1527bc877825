#include "timerManagerOsWrapper.h"

namespace Quoria::Timer::V1 {

TimerManagerOsWrapper::~TimerManagerOsWrapper() = default;

int TimerManagerOsWrapper::timerfdCreate(int clockid, int flags) {
    return timerfd_create(clockid, flags);
}

int TimerManagerOsWrapper::timerfdSettime(int fd, int flags, const itimerspec* newValue,
                                          itimerspec* oldValue) {
    return timerfd_settime(fd, flags, newValue, oldValue);
}

}  // namespace Quoria::Timer::V1
