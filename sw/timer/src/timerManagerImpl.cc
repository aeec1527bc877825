#include "timerManagerImpl.h"

#include <quoria/eventLoop/eventLoopIf.h>
#include <quoria/threadLocal/threadLocalLinux.h>
#include <quoria/trace/trace.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <utility>

#include "timerManagerOsWrapper.h"

namespace Quoria::Timer::V1 {

namespace {

using EventLoop::V1::EventLoopIf;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using std::chrono::steady_clock;
using Instance = ThreadLocal::V1::detail::ThreadLocalLinux<TimerManagerImpl, 1>;

constexpr int kNoFd = -1;

// A descriptor that is closed unless it is released to an owner.
class NewFd {
public:
    explicit NewFd(int fd) : fd_(fd) {}
    ~NewFd() {
        if (fd_ != kNoFd) {
            close(fd_);  // the result is not used: nothing is lost with a timer never armed
        }
    }
    NewFd(const NewFd&) = delete;
    NewFd& operator=(const NewFd&) = delete;

    int get() const { return fd_; }
    int release() { return std::exchange(fd_, kNoFd); }

private:
    int fd_;
};

// The end of the clock's range stands for all times that lie beyond it.
steady_clock::time_point fromNow(milliseconds duration) {
    constexpr auto kLongest = std::chrono::duration_cast<milliseconds>(nanoseconds::max());
    const nanoseconds distance = std::clamp(duration, -kLongest, kLongest);
    const auto now = steady_clock::now();
    return distance < steady_clock::time_point::max() - now ? now + distance
                                                            : steady_clock::time_point::max();
}

// Zero would disarm the descriptor and the kernel refuses what is below it, while both are times in
// the past like any other: shortly after the start of the clock, or by a negative duration.
itimerspec armedFor(steady_clock::time_point expiry) {
    const nanoseconds time = std::max<nanoseconds>(expiry.time_since_epoch(), nanoseconds(1));
    const auto wholeSeconds = std::chrono::duration_cast<std::chrono::seconds>(time);
    itimerspec armed{};
    armed.it_value.tv_sec = wholeSeconds.count();
    armed.it_value.tv_nsec = (time - wholeSeconds).count();
    return armed;
}

Timers::iterator insertTimer(Timers& timers, SpareTimers& spares, steady_clock::time_point expiry,
                             const TimerData& data) {
    auto spare = spares.take();
    if (spare.empty()) {
        return timers.emplace_hint(timers.end(), expiry, data);
    }
    spare.key() = expiry;
    spare.mapped() = data;
    return timers.insert(timers.end(), std::move(spare));
}

}  // namespace

TimerManagerImpl& TimerManagerImpl::getInstance() {
    return *Instance::getInstance();
}

void TimerManagerImpl::reset() {
    Instance::resetInstance();
}

TimerManagerImpl::TimerManagerImpl()
    : ownerThread_(pthread_self()),
      timerFd_(kNoFd),
      osWrapper_(std::make_shared<TimerManagerOsWrapper>()) {}

TimerManagerImpl::~TimerManagerImpl() {
    if (timerFd_ != kNoFd) {
        disarmTimerFd(timerFd_);
        // Neither result is used: the descriptor is gone whatever close() says, and at the end of a
        // thread its event loop may have gone before, and the handler with it.
        close(timerFd_);
        EventLoopIf::getInstance()->removeFdHandler(timerFd_);
    }
}

void TimerManagerImpl::setOsWrapper(const std::shared_ptr<TimerManagerOsWrapper>& osWrapper) {
    osWrapper_ = osWrapper;
}

TimerManagerIf::ReturnCode TimerManagerImpl::startTimer(const milliseconds& timeout,
                                                        TimeoutReceiverIf* receiver,
                                                        unsigned int timerId) {
    return startNewTimer(TimerData{receiver, timerId, false, {}}, timeout);
}

TimerManagerIf::ReturnCode TimerManagerImpl::startPeriodicalTimer(const milliseconds& period,
                                                                  TimeoutReceiverIf* receiver,
                                                                  unsigned int timerId) {
    return startNewTimer(TimerData{receiver, timerId, true, period}, period);
}

TimerManagerIf::ReturnCode TimerManagerImpl::cancelTimer(TimeoutReceiverIf* receiver,
                                                         unsigned int timerId) {
    if (!isOwnerThread()) {
        return WRONG_THREAD;
    }
    const auto timer = index_.take({receiver, timerId});
    if (!timer) {
        return NOT_FOUND;
    }
    const bool wasEarliest = *timer == timers_.begin();
    spares_.keep(timers_.extract(*timer));
    if (wasEarliest) {
        // A failure has been traced. The descriptor becomes readable too early then, or for
        // nothing.
        setTimerFd(timerFd_);
    }
    return OK;
}

bool TimerManagerImpl::isOwnerThread() const {
    return pthread_equal(pthread_self(), ownerThread_) != 0;
}

TimerManagerIf::ReturnCode TimerManagerImpl::startNewTimer(const TimerData& data,
                                                           const milliseconds& duration) {
    if (!isOwnerThread()) {
        return WRONG_THREAD;
    }
    if (index_.contains(keyOf(data))) {
        return ALREADY_EXISTS;
    }
    if (timerFd_ == kNoFd) {
        timerFd_ = createTimerFd();
        if (timerFd_ == kNoFd) {
            return OS_ERROR;
        }
    }

    index_.makeRoom();
    const auto timer = insertTimer(timers_, spares_, fromNow(duration), data);
    index_.add(timer);
    const auto removeAgain = [&] {
        index_.take(keyOf(data));
        spares_.keep(timers_.extract(timer));
    };
    try {
        if (timer != timers_.begin() || setTimerFd(timerFd_)) {
            return OK;
        }
    } catch (...) {
        removeAgain();
        throw;
    }
    removeAgain();
    return OS_ERROR;
}

int TimerManagerImpl::createTimerFd() {
    NewFd fd(osWrapper_->timerfdCreate(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC));
    if (fd.get() == kNoFd) {
        const int error = errno;
        QTRACE_ERROR("timerfd_create failed, " << strerror(error) << " (" << error << ")");
        return kNoFd;
    }
    disarmTimerFd(fd.get());
    const auto onReadable = [this](int, unsigned int) { onTimerExpired(); };
    if (EventLoopIf::getInstance()->addFdHandler(fd.get(), EventLoopIf::EVENT_IN, onReadable) !=
        EventLoopIf::OK) {
        return kNoFd;
    }
    return fd.release();
}

bool TimerManagerImpl::setTimerFd(int fd) {
    if (timers_.empty()) {
        disarmTimerFd(fd);
        return true;
    }
    const itimerspec armed = armedFor(timers_.begin()->first);
    if (osWrapper_->timerfdSettime(fd, TFD_TIMER_ABSTIME, &armed, nullptr) == -1) {
        const int error = errno;
        QTRACE_ERROR("timerfd_settime failed, " << strerror(error) << " (" << error << ")");
        return false;
    }
    return true;
}

void TimerManagerImpl::disarmTimerFd(int fd) {
    // The result is not used: a descriptor that stays armed becomes readable for nothing, once.
    const itimerspec disarmed{};
    osWrapper_->timerfdSettime(fd, TFD_TIMER_ABSTIME, &disarmed, nullptr);
}

void TimerManagerImpl::onTimerExpired() {
    std::uint64_t expirations = 0;
    if (read(timerFd_, &expirations, sizeof expirations) == -1) {
        const int error = errno;
        if (error != EAGAIN) {  // which means that it was set anew after the loop's wait
            QTRACE_ERROR("read failed, " << strerror(error) << " (" << error << ")");
        }
        return;
    }
    if (timers_.empty()) {
        QTRACE_ERROR("Received file descriptor event, but no expired timer was found");
        return;
    }

    const TimerKey expired = takeEarliestTimer();
    setTimerFd(timerFd_);
    dispatchTimeout(expired.receiver, expired.timerId);
}

TimerKey TimerManagerImpl::takeEarliestTimer() {
    const TimerKey key = keyOf(timers_.begin()->second);
    index_.take(key);
    auto timer = timers_.extract(timers_.begin());
    if (timer.mapped().periodical) {
        timer.key() = fromNow(timer.mapped().period);
        index_.add(timers_.insert(timers_.end(), std::move(timer)));
    } else {
        spares_.keep(std::move(timer));
    }
    return key;
}

void TimerManagerImpl::dispatchTimeout(TimeoutReceiverIf* receiver, unsigned int timerId) {
    if (receiver != nullptr) {
        receiver->handleTimeout(timerId);
    }
}

}  // namespace Quoria::Timer::V1
