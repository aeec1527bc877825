// nanomsg: PAIR over ipc.

#include "contender.h"

#include <nanomsg/nn.h>
#include <nanomsg/pair.h>

namespace {

using namespace Bench;

std::string addressOf(const Job& job) {
    return "ipc://" + job.folder + "/socket";
}

class Socket : public End {
public:
    Socket() : socket_(need(nn_socket(AF_SP, NN_PAIR), "nn_socket")) {}
    ~Socket() override { nn_close(socket_); }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;

    void bind(const Job& job) { need(nn_bind(socket_, addressOf(job).c_str()), "nn_bind"); }
    void connect(const Job& job) {
        need(nn_connect(socket_, addressOf(job).c_str()), "nn_connect");
    }

    void send(std::size_t size) override {
        void* message = nn_allocmsg(size, 0);
        writePayload(message, size);
        need(nn_send(socket_, &message, NN_MSG, 0), "nn_send");
    }

    void receive(std::size_t count) override {
        for (; count > 0; --count) {
            void* message = nullptr;
            const int size = need(nn_recv(socket_, &message, NN_MSG, 0), "nn_recv");
            readPayload(message, static_cast<std::size_t>(size));
            need(nn_freemsg(message), "nn_freemsg");
        }
    }

private:
    int socket_;
};

}  // namespace

std::unique_ptr<End> Bench::makeHub(const Job& job) {
    auto hub = std::make_unique<Socket>();
    hub->bind(job);
    return hub;
}

std::unique_ptr<End> Bench::makeSpoke(const Job& job) {
    auto spoke = std::make_unique<Socket>();
    spoke->connect(job);
    return spoke;
}
