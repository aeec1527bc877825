#include "failingCalls.h"
#include "walk.h"

#include <quoria/eventLoop/eventLoopIf.h>

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>

namespace TraceWalk {

void walkEventLoop() {
    using Quoria::EventLoop::V1::EventLoopIf;
    EventLoopIf& loop = *EventLoopIf::getInstance();
    const int fd = eventfd(0, EFD_CLOEXEC);
    const auto add = [&] {
        return loop.addFdHandler(fd, EventLoopIf::EVENT_IN, [](int, unsigned int) {});
    };

    failNext(Call::EPOLL_CREATE1, EMFILE);
    require(add() == EventLoopIf::OS_ERROR, "epoll_create1 has not failed");
    failNext(Call::EPOLL_CTL, ENOSPC);
    require(add() == EventLoopIf::OS_ERROR, "the addition has not failed");
    require(add() == EventLoopIf::OK, "the second addition has failed");
    failNext(Call::EPOLL_CTL, ENOMEM);
    require(loop.updateFdEvents(fd, EventLoopIf::EVENT_OUT) == EventLoopIf::OS_ERROR,
            "the update has not failed");
    failNext(Call::EPOLL_WAIT, EBADF);
    require(loop.run() == EventLoopIf::OS_ERROR, "the wait has not failed");

    loop.removeFdHandler(fd);
    close(fd);
}

}  // namespace TraceWalk
