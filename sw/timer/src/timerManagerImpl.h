// timerManagerImpl.h: a thread's timers, all on one timerfd.
//
// Private header of timer.
//
// Only the thread that made an instance may call it; the thread owns it (ThreadLocalLinux). An
// instance owns its timer descriptor, which the thread's event loop watches, and no receiver.
//
// The descriptor is armed for the earliest timer, always with an absolute time. One readable event
// delivers one timer; if the next one is due as well, arming the descriptor with a time in the past
// makes it readable again. The order of timers_ alone says whose turn it is, and index_ finds a
// timer by its receiver and id; every timer is in both.
#ifndef QUORIA_TIMER_TIMERMANAGERIMPL_H
#define QUORIA_TIMER_TIMERMANAGERIMPL_H

#include <pthread.h>
#include <quoria/timer/timerManagerIf.h>
#include <quoria/util/export.h>

#include <chrono>
#include <memory>

#include "spareTimers.h"
#include "timerData.h"
#include "timerIndex.h"

namespace Quoria::Timer::V1 {

class TimerManagerOsWrapper;

class QUORIA_EXPORT TimerManagerImpl : public TimerManagerIf {
public:
    static TimerManagerImpl& getInstance();

    // Destroys the calling thread's timer manager, if any. A receiver may do so.
    static void reset();

    TimerManagerImpl();

    // Makes the timerfd calls from now on. A descriptor that exists stays.
    void setOsWrapper(const std::shared_ptr<TimerManagerOsWrapper>& osWrapper);

    ReturnCode startTimer(const std::chrono::milliseconds& timeout, TimeoutReceiverIf* receiver,
                          unsigned int timerId) override;
    ReturnCode startPeriodicalTimer(const std::chrono::milliseconds& period,
                                    TimeoutReceiverIf* receiver, unsigned int timerId) override;
    ReturnCode cancelTimer(TimeoutReceiverIf* receiver, unsigned int timerId) override;

    ~TimerManagerImpl() override;

private:
    bool isOwnerThread() const;
    ReturnCode startNewTimer(const TimerData& data, const std::chrono::milliseconds& duration);
    int createTimerFd();
    bool setTimerFd(int fd);
    void disarmTimerFd(int fd);
    void onTimerExpired();
    // One that is periodic is pending again when this returns. There must be one.
    TimerKey takeEarliestTimer();
    // May destroy this instance.
    void dispatchTimeout(TimeoutReceiverIf* receiver, unsigned int timerId);

    pthread_t ownerThread_;
    int timerFd_;  // -1 until the first start
    std::shared_ptr<TimerManagerOsWrapper> osWrapper_;
    Timers timers_;
    TimerIndex index_;
    SpareTimers spares_;
};

}  // namespace Quoria::Timer::V1

#endif
