#include "eventLoopImpl.h"

#include <quoria/threadLocal/threadLocalLinux.h>
#include <quoria/trace/trace.h>
#include <quoria/util/functionQueue.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include "eventLoopOsWrapper.h"

namespace Quoria::EventLoop::V1 {

namespace {

using Instance = ThreadLocal::V1::detail::ThreadLocalLinux<EventLoopImpl, 1>;

constexpr int kNoFd = -1;
constexpr int kWaitForever = -1;
constexpr std::size_t kEventsPerWait = 3;

}  // namespace

// The events of one wait, from the fetch until the last of them is handled, in a chain with those
// of the runs around it.
struct EventLoopImpl::Batch {
    explicit Batch(EventLoopImpl& owner) : loop(owner), outer(owner.innermostBatch) {
        loop.innermostBatch = this;
    }
    ~Batch() { loop.innermostBatch = outer; }
    Batch(const Batch&) = delete;
    Batch& operator=(const Batch&) = delete;

    void keepWhileNeeded(const std::shared_ptr<FdHandler>& record) {
        for (std::size_t i = current; i < count; ++i) {
            if (events[i].data.ptr == record.get()) {
                kept[i] = record;
            }
        }
    }

    EventLoopImpl& loop;
    Batch* const outer;
    std::size_t count = 0;
    std::size_t current = 0;
    std::array<epoll_event, kEventsPerWait> events;
    std::array<std::shared_ptr<FdHandler>, kEventsPerWait> kept;
};

EventLoopImpl* EventLoopImpl::getInstance() {
    return Instance::getInstance();
}

void EventLoopImpl::reset() {
    Instance::resetInstance();
}

EventLoopImpl::EventLoopImpl()
    : epollFd(kNoFd),
      ownerThread(pthread_self()),
      osWrapper(std::make_shared<EventLoopOsWrapper>()),
      running(false),
      nextScheduledEvent(0),
      innermostBatch(nullptr) {}

EventLoopImpl::~EventLoopImpl() {
    // What the functions and callbacks have captured may call this loop as it is destroyed: it
    // finds an empty one, never a container in the middle of its own destruction, and what it
    // leaves here goes in the next round.
    do {
        closeEpollFd();
        nextScheduledEvent = 0;
        const auto registered = std::exchange(fdHandlers, {});
        const auto parked = std::exchange(removedFdHandlers, {});
        const auto queued = std::exchange(scheduledEvents, {});
    } while (epollFd != kNoFd || !scheduledEvents.empty() || !removedFdHandlers.empty() ||
             !fdHandlers.empty());
}

EventLoopIf::ReturnCode EventLoopImpl::addFdHandler(
    int fd, unsigned int events, const std::function<void(int, unsigned int)>& handler) {
    if (!isOwnerThread()) {
        return WRONG_THREAD;
    }
    if (fdHandlers.count(fd) != 0) {
        return ALREADY_EXISTS;
    }
    const std::uint32_t mask = convertToEpollEvents(events);
    if (mask == 0) {
        return INVALID_EVENTS;
    }
    if (epollFd == kNoFd) {
        epollFd = osWrapper->epollCreate1(EPOLL_CLOEXEC);
        if (epollFd == kNoFd) {
            const int error = errno;
            QTRACE_ERROR("epoll_create1 failed: " << strerror(error) << " (" << error << ")");
            return OS_ERROR;
        }
    }

    const auto record = std::make_shared<FdHandler>(FdHandler{fd, mask, handler});
    // Entered first, so that running out of memory here can't leave the kernel with the address of
    // a record that is gone. Copying what the handler has captured may have added one meanwhile.
    if (!fdHandlers.emplace(fd, record).second) {
        return ALREADY_EXISTS;
    }
    epoll_event event{};
    event.events = mask;
    event.data.ptr = record.get();
    if (osWrapper->epollCtl(epollFd, EPOLL_CTL_ADD, fd, &event) == -1) {
        const int error = errno;
        QTRACE_ERROR("epoll_ctl(ADD) failed: " << strerror(error) << " (" << error << ")");
        fdHandlers.erase(fd);
        return OS_ERROR;
    }
    return OK;
}

EventLoopIf::ReturnCode EventLoopImpl::updateFdEvents(int fd, unsigned int events) {
    if (!isOwnerThread()) {
        return WRONG_THREAD;
    }
    const auto found = fdHandlers.find(fd);
    if (found == fdHandlers.end()) {
        return NOT_FOUND;
    }
    const std::uint32_t mask = convertToEpollEvents(events);
    if (mask == 0) {
        return INVALID_EVENTS;
    }

    FdHandler& record = *found->second;
    epoll_event event{};
    event.events = mask;
    event.data.ptr = &record;
    if (osWrapper->epollCtl(epollFd, EPOLL_CTL_MOD, fd, &event) == -1) {
        const int error = errno;
        QTRACE_ERROR("epoll_ctl(MOD) failed: " << strerror(error) << " (" << error << ")");
        return OS_ERROR;
    }
    record.events = mask;
    return OK;
}

EventLoopIf::ReturnCode EventLoopImpl::removeFdHandler(int fd) {
    if (!isOwnerThread()) {
        return WRONG_THREAD;
    }
    const auto found = fdHandlers.find(fd);
    if (found == fdHandlers.end()) {
        return NOT_FOUND;
    }

    // The result is not used: the caller may have closed the descriptor, which is removal enough.
    osWrapper->epollCtl(epollFd, EPOLL_CTL_DEL, fd, nullptr);
    // Where nothing else keeps the record, it goes when this function returns and the loop is
    // whole.
    const std::shared_ptr<FdHandler> record = found->second;
    record->events = 0;
    for (Batch* batch = innermostBatch; batch != nullptr; batch = batch->outer) {
        batch->keepWhileNeeded(record);
    }
    removedFdHandlers.emplace(fd, record);
    fdHandlers.erase(found);
    return OK;
}

EventLoopIf::ReturnCode EventLoopImpl::run() {
    if (!isOwnerThread()) {
        return WRONG_THREAD;
    }
    return runLoop();
}

EventLoopIf::ReturnCode EventLoopImpl::scheduleEvent(const std::function<void()>& event) {
    if (!isOwnerThread()) {
        return WRONG_THREAD;
    }
    // Copied before the queue is touched: copying what the function has captured may schedule, too.
    std::function<void()> copy(event);
    scheduledEvents.push_back(std::move(copy));
    return OK;
}

EventLoopIf::ReturnCode EventLoopImpl::stop() {
    if (!isOwnerThread()) {
        return WRONG_THREAD;
    }
    running = false;
    return OK;
}

std::uint32_t EventLoopImpl::convertToEpollEvents(unsigned int events) {
    std::uint32_t mask = 0;
    if ((events & EVENT_IN) != 0) {
        mask |= EPOLLIN;
    }
    if ((events & EVENT_OUT) != 0) {
        mask |= EPOLLOUT;
    }
    return mask;
}

unsigned int EventLoopImpl::convertToLocalEvents(std::uint32_t events) {
    unsigned int bits = 0;
    if ((events & EPOLLIN) != 0) {
        bits |= EVENT_IN;
    }
    if ((events & EPOLLOUT) != 0) {
        bits |= EVENT_OUT;
    }
    return bits;
}

void EventLoopImpl::dispatchEvent(const std::function<void(int, unsigned int)>& callback, int fd,
                                  unsigned int events) {
    callback(fd, events);
}

bool EventLoopImpl::isOwnerThread() const {
    return pthread_equal(pthread_self(), ownerThread) != 0;
}

EventLoopIf::ReturnCode EventLoopImpl::runLoop() {
    running = true;
    while (!fdHandlers.empty()) {
        releaseRemovedFdHandlers();
        if (fdHandlers.empty()) {
            break;  // what a released callback had captured took the last handler with it
        }

        Batch batch(*this);
        const int count = osWrapper->epollWait(epollFd, batch.events.data(),
                                               static_cast<int>(batch.events.size()), kWaitForever);
        if (count == -1 && errno != EINTR) {
            const int error = errno;
            QTRACE_ERROR("epoll_wait failed: " << strerror(error) << " (" << error << ")");
            return OS_ERROR;
        }
        batch.count = count < 1 ? 0 : static_cast<std::size_t>(count);
        for (; batch.current < batch.count; ++batch.current) {
            handleEpollEvent(batch.events[batch.current]);
        }
        if (!running) {
            break;
        }
    }
    return OK;
}

void EventLoopImpl::handleEpollEvent(const epoll_event& event) {
    const auto& record = *static_cast<const FdHandler*>(event.data.ptr);
    const unsigned int bits = convertToLocalEvents(event.events & record.events);
    if (bits != 0) {
        dispatchEvent(record.callback, record.fd, bits);
        executeScheduledEvents();
    }
}

void EventLoopImpl::executeScheduledEvents() {
    // Each function is out of the queue before it runs, so that it may schedule, throw, or run the
    // loop and with it this drain again.
    while (!scheduledEvents.empty()) {
        const std::function<void()> event =
            Util::detail::takeOldest(scheduledEvents, nextScheduledEvent);
        event();
    }
}

void EventLoopImpl::releaseRemovedFdHandlers() {
    // What the callbacks have captured may remove handlers as it is destroyed, hence the detour.
    std::exchange(removedFdHandlers, {});
}

void EventLoopImpl::closeEpollFd() {
    if (epollFd != kNoFd) {
        // The result is not used: the descriptor is gone whatever close() says, and nothing is
        // lost.
        close(std::exchange(epollFd, kNoFd));
    }
}

}  // namespace Quoria::EventLoop::V1
