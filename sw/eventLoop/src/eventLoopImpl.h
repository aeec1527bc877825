// eventLoopImpl.h: a thread's event loop on epoll.
//
// Private header of eventLoop.
//
// Only the thread that made an instance may call it; the thread owns it (ThreadLocalLinux). An
// instance owns its epoll descriptor and the records of its handlers, not the descriptors they
// watch.
//
// How long a record lives. The kernel holds the address of each registered record and hands it out
// with every event, so a record must outlive every event that has been fetched for it.
//
// A removed record is parked in removedFdHandlers until the next iteration begins, with its mask
// set to 0, which drops what is still to come for it. If the map has a record for that descriptor,
// the later one is not parked: it was registered after the fetch, so nothing points at it.
//
// That reasoning holds for one run() at a time. A callback that runs the loop again begins a new
// iteration while the outer one is in the middle of its batch, and empties the map under it. So
// each iteration has a Batch, and removing a handler also leaves the record with every batch, inner
// or outer, that is handling an event of it or has still to. Dispatch pays nothing for this.
#ifndef QUORIA_EVENTLOOP_EVENTLOOPIMPL_H
#define QUORIA_EVENTLOOP_EVENTLOOPIMPL_H

#include <pthread.h>
#include <quoria/eventLoop/eventLoopIf.h>
#include <quoria/util/export.h>
#include <sys/epoll.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <unordered_map>
#include <vector>

class EventLoopOsWrapper;

namespace Quoria::EventLoop::V1 {

class QUORIA_EXPORT EventLoopImpl : public EventLoopIf {
public:
    static EventLoopImpl* getInstance();

    // Destroys the calling thread's loop, if any. Not to be called inside run(), nor by what the
    // loop destroys on its way out.
    static void reset();

    EventLoopImpl();

    ReturnCode addFdHandler(int fd, unsigned int events,
                            const std::function<void(int, unsigned int)>& handler) override;
    ReturnCode updateFdEvents(int fd, unsigned int events) override;
    ReturnCode removeFdHandler(int fd) override;
    ReturnCode run() override;
    ReturnCode scheduleEvent(const std::function<void()>& event) override;
    ReturnCode stop() override;

    ~EventLoopImpl() override;

private:
    friend class EventLoopTestPeer;

    struct FdHandler {
        int fd;
        std::uint32_t events;  // epoll bits
        std::function<void(int, unsigned int)> callback;
    };
    struct Batch;

    static std::uint32_t convertToEpollEvents(unsigned int events);
    static unsigned int convertToLocalEvents(std::uint32_t events);
    static void dispatchEvent(const std::function<void(int, unsigned int)>& callback, int fd,
                              unsigned int events);

    bool isOwnerThread() const;
    ReturnCode runLoop();
    void handleEpollEvent(const epoll_event& event);
    void executeScheduledEvents();
    void releaseRemovedFdHandlers();
    void closeEpollFd();

    int epollFd;
    pthread_t ownerThread;
    std::shared_ptr<EventLoopOsWrapper> osWrapper;
    bool running;
    std::unordered_map<int, std::shared_ptr<FdHandler>> fdHandlers;
    std::unordered_map<int, std::shared_ptr<FdHandler>> removedFdHandlers;
    std::vector<std::function<void()>> scheduledEvents;
    std::size_t nextScheduledEvent;  // index into scheduledEvents; those before it have been taken
    Batch* innermostBatch;           // on the stack of the innermost runLoop(), null outside
};

}  // namespace Quoria::EventLoop::V1

#endif
