// nng: PAIR over ipc.

#include "contender.h"

#include <nng/nng.h>
#include <nng/protocol/pair0/pair.h>

namespace {

using namespace Bench;

constexpr int kBufferedMessages = 1000;

std::string addressOf(const Job& job) {
    return "ipc://" + job.folder + "/socket";
}

void succeed(int result) {
    if (result != 0) {
        fail(nng_strerror(result));
    }
}

class Socket : public End {
public:
    // Without buffers every message of a flow would wait for the one before.
    Socket() {
        succeed(nng_pair0_open(&socket_));
        succeed(nng_setopt_int(socket_, NNG_OPT_SENDBUF, kBufferedMessages));
        succeed(nng_setopt_int(socket_, NNG_OPT_RECVBUF, kBufferedMessages));
    }
    ~Socket() override { nng_close(socket_); }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;

    void listen(const Job& job) {
        succeed(nng_listen(socket_, addressOf(job).c_str(), nullptr, 0));
    }
    void dial(const Job& job) { succeed(nng_dial(socket_, addressOf(job).c_str(), nullptr, 0)); }

    void send(std::size_t size) override {
        nng_msg* message = nullptr;
        succeed(nng_msg_alloc(&message, size));
        writePayload(nng_msg_body(message), size);
        succeed(nng_sendmsg(socket_, message, 0));
    }

    void receive(std::size_t count) override {
        for (; count > 0; --count) {
            nng_msg* message = nullptr;
            succeed(nng_recvmsg(socket_, &message, 0));
            readPayload(nng_msg_body(message), nng_msg_len(message));
            nng_msg_free(message);
        }
    }

private:
    nng_socket socket_{};
};

}  // namespace

std::unique_ptr<End> Bench::makeHub(const Job& job) {
    auto hub = std::make_unique<Socket>();
    hub->listen(job);
    return hub;
}

std::unique_ptr<End> Bench::makeSpoke(const Job& job) {
    auto spoke = std::make_unique<Socket>();
    spoke->dial(job);
    return spoke;
}
