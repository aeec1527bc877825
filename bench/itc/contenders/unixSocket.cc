#include "unixSocket.h"

#include "contender.h"

#include <sys/socket.h>
#include <sys/un.h>

namespace Bench {

namespace {

constexpr int kBacklog = 16;

sockaddr_un addressOf(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    return address;
}

}  // namespace

int listenAt(const std::string& path, int type) {
    const int fd = need(socket(AF_UNIX, type | SOCK_CLOEXEC, 0), "socket");
    const sockaddr_un address = addressOf(path);
    need(bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address), "bind");
    need(listen(fd, kBacklog), "listen");
    return fd;
}

int connectTo(const std::string& path, int type) {
    const int fd = need(socket(AF_UNIX, type | SOCK_CLOEXEC, 0), "socket");
    const sockaddr_un address = addressOf(path);
    need(connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address), "connect");
    return fd;
}

}  // namespace Bench
