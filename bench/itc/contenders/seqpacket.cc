// AF_UNIX SEQPACKET sockets with epoll: what the kernel alone offers.

#include "polledEnd.h"
#include "unixSocket.h"

#include <cerrno>
#include <vector>

#include <sys/socket.h>

namespace {

using namespace Bench;

constexpr int kNone = -1;

class Sockets : public PolledEnd {
public:
    Sockets(const Job& job, int listener, int connection)
        : listener_(listener), peer_(connection), buffer_(job.size) {
        watch(listener == kNone ? connection : listener);
    }

    void send(std::size_t size) override {
        writePayload(buffer_.data(), size);
        need(static_cast<int>(::send(peer_, buffer_.data(), size, MSG_NOSIGNAL)), "send");
    }

private:
    bool take(int fd) override {
        if (fd == listener_) {
            watch(need(accept4(fd, nullptr, nullptr, SOCK_CLOEXEC), "accept4"));
            return false;
        }
        const ssize_t size = recv(fd, buffer_.data(), buffer_.size(), MSG_DONTWAIT);
        if (size < 0 && errno == EAGAIN) {
            return false;
        }
        need(static_cast<int>(size), "recv");
        readPayload(buffer_.data(), static_cast<std::size_t>(size));
        peer_ = fd;
        return true;
    }

    int listener_;
    int peer_;
    std::vector<char> buffer_;
};

std::string pathOf(const Job& job) {
    return job.folder + "/socket";
}

}  // namespace

std::unique_ptr<End> Bench::makeHub(const Job& job) {
    return std::make_unique<Sockets>(job, listenAt(pathOf(job), SOCK_SEQPACKET), kNone);
}

std::unique_ptr<End> Bench::makeSpoke(const Job& job) {
    return std::make_unique<Sockets>(job, kNone, connectTo(pathOf(job), SOCK_SEQPACKET));
}
