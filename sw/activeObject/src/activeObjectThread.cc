#include "activeObjectThread.h"

#include <pthread.h>
#include <quoria/eventLoop/eventLoopIf.h>
#include <quoria/trace/trace.h>
#include <quoria/util/functionQueue.h>
#include <sched.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <utility>

namespace Quoria::ActiveObject::Backend {

namespace {

using EventLoop::V1::EventLoopIf;

constexpr int kNoFd = -1;
constexpr std::size_t kMaxThreadName = 15;  // the kernel keeps 16 bytes, terminator included

void nameThisThread(const std::string& name) {
    // The result is not used: the name serves whoever looks at the process, nothing depends on it.
    pthread_setname_np(pthread_self(), name.substr(0, kMaxThreadName).c_str());
}

void switchThisThreadToFifo() {
    // The results are not used: a thread that may not have the policy does without.
    int inheritedPolicy = SCHED_OTHER;
    sched_param parameters{};
    pthread_getschedparam(pthread_self(), &inheritedPolicy, &parameters);
    pthread_setschedparam(pthread_self(), SCHED_FIFO, &parameters);
}

}  // namespace

ActiveObjectThread::ActiveObjectThread(const std::string& threadName)
    : name(threadName), eventFd(kNoFd), oldestFunction(0), tracedId(std::thread::id()) {
    QTRACE_TRACE1("-", "ActiveObjectThread(" << this << ") created");
}

ActiveObjectThread::~ActiveObjectThread() {
    if (thread.joinable()) {
        QTRACE_TRACE1("-", "ActiveObjectThread(" << this
                                                 << ") terminating AO thread=" << thread.get_id()
                                                 << " from thread: " << std::this_thread::get_id());
        if (std::this_thread::get_id() != thread.get_id()) {
            scheduleFunction([fd = eventFd] { stopEventLoop(fd); });
            thread.join();
        } else {
            thread.detach();
            stopEventLoop(eventFd);
        }
    }
    if (eventFd != kNoFd) {
        // The result is not used: the descriptor is gone whatever close() says, and nothing is
        // lost.
        close(eventFd);
    }
}

bool ActiveObjectThread::start(bool realTime, const std::function<void()>& startFunction) {
    eventFd = eventfd(0, EFD_SEMAPHORE | EFD_CLOEXEC);
    if (eventFd == kNoFd) {
        const int error = errno;
        QTRACE_INFO("ABN: eventfd failed: " << strerror(error) << " (" << error << ")");
        return false;
    }
    const std::function<void(int, unsigned int)> fdHandler = [this](int, unsigned int) {
        handleFdEvent();
    };
    thread =
        std::thread(&ActiveObjectThread::main, name, eventFd, fdHandler, realTime, startFunction);
    tracedId = thread.get_id();
    return true;
}

void ActiveObjectThread::main(const std::string& name, int eventFd,
                              const std::function<void(int, unsigned int)>& fdHandler,
                              bool realTime, const std::function<void()>& startFunction) {
    QTRACE_TRACE1("-", "ActiveObjectThread started; thread=" << std::this_thread::get_id()
                                                             << ", eventFd=" << eventFd);
    nameThisThread(name);
    EventLoopIf* const loop = EventLoopIf::getInstance();
    if (loop->addFdHandler(eventFd, EventLoopIf::EVENT_IN, fdHandler) != EventLoopIf::OK) {
        QTRACE_ERROR("Failed to add fd=" << eventFd << " to the event loop");
        return;
    }
    if (realTime) {
        switchThisThreadToFifo();
    }
    if (startFunction) {
        startFunction();
    }
    // The result is not used: the thread ends either way, and the loop has traced why it failed.
    loop->run();
    QTRACE_TRACE1("-", "Active object thread " << std::this_thread::get_id() << " finished");
}

void ActiveObjectThread::scheduleFunction(const std::function<void()>& function) {
    QTRACE_TRACE1("-", "ActiveObjectThread("
                           << this
                           << ") scheduling function call, bound for thread: " << tracedId.load()
                           << ". Current thread is: " << std::this_thread::get_id());
    enqueueFunction(function);
    const std::uint64_t one = 1;
    if (write(eventFd, &one, sizeof(one)) == -1) {
        const int error = errno;
        QTRACE_ERROR("write failed: " << strerror(error) << " (" << error << ")");
    }
}

void ActiveObjectThread::enqueueFunction(const std::function<void()>& function) {
    // Copied before the lock is taken: copying what the function has captured may post, too.
    std::function<void()> copy(function);
    const std::lock_guard<std::mutex> lock(queueMutex);
    functionQueue.push_back(std::move(copy));
}

std::function<void()> ActiveObjectThread::dequeueFunction() {
    const std::lock_guard<std::mutex> lock(queueMutex);
    if (functionQueue.empty()) {
        return {};
    }
    return Util::detail::takeOldest(functionQueue, oldestFunction);
}

void ActiveObjectThread::handleFdEvent() {
    std::uint64_t unit = 0;
    if (read(eventFd, &unit, sizeof(unit)) == -1) {
        const int error = errno;
        QTRACE_ERROR("read failed: " << strerror(error) << " (" << error << ")");
        return;
    }
    const std::function<void()> function = dequeueFunction();
    if (function) {
        QTRACE_TRACE1("-", "ActiveObjectThread(" << this
                                                 << ") invoking application function in AO thread: "
                                                 << std::this_thread::get_id());
        function();
        // The call, and the end of what it has captured, may have destroyed this object.
    }
}

void ActiveObjectThread::stopEventLoop(int fd) {
    EventLoopIf* const loop = EventLoopIf::getInstance();
    // Results are not used: the handler may be gone already, and the loop is the calling thread's
    // own.
    if (fd != kNoFd) {
        loop->removeFdHandler(fd);
    }
    loop->stop();
}

}  // namespace Quoria::ActiveObject::Backend
