#include "polledEnd.h"

#include <cerrno>

#include <sys/epoll.h>
#include <unistd.h>

namespace Bench {

PolledEnd::PolledEnd() : epoll_(need(epoll_create1(EPOLL_CLOEXEC), "epoll_create1")) {}

PolledEnd::~PolledEnd() {
    close(epoll_);
}

void PolledEnd::watch(int fd) {
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = fd;
    need(epoll_ctl(epoll_, EPOLL_CTL_ADD, fd, &event), "epoll_ctl");
}

void PolledEnd::receive(std::size_t count) {
    while (count > 0) {
        epoll_event events[16];
        const int ready = epoll_wait(epoll_, events, 16, -1);
        if (ready < 0 && errno != EINTR) {
            failWithErrno("epoll_wait");
        }
        for (int index = 0; index < ready; ++index) {
            while (count > 0 && take(events[index].data.fd)) {
                --count;
            }
        }
    }
}

}  // namespace Bench
