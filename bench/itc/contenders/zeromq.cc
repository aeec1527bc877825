// ZeroMQ: PAIR over ipc between processes and over inproc between threads; PUSH and PULL when many
// send to one.

#include "contender.h"

#include <zmq.h>

namespace {

using namespace Bench;

// Frees what it holds at the end of the program: inproc needs one context for all threads.
void* context() {
    static const std::unique_ptr<void, int (*)(void*)> instance(zmq_ctx_new(), zmq_ctx_term);
    return instance.get();
}

std::string addressOf(const Job& job) {
    return job.betweenThreads ? "inproc://hub" : "ipc://" + job.folder + "/socket";
}

class Socket : public End {
public:
    explicit Socket(int type) : socket_(zmq_socket(context(), type)) {}
    ~Socket() override { zmq_close(socket_); }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;

    void bind(const Job& job) { need(zmq_bind(socket_, addressOf(job).c_str()), "zmq_bind"); }
    void connect(const Job& job) {
        need(zmq_connect(socket_, addressOf(job).c_str()), "zmq_connect");
    }

    void send(std::size_t size) override {
        zmq_msg_t message;
        need(zmq_msg_init_size(&message, size), "zmq_msg_init_size");
        writePayload(zmq_msg_data(&message), size);
        need(zmq_msg_send(&message, socket_, 0), "zmq_msg_send");
    }

    void receive(std::size_t count) override {
        for (; count > 0; --count) {
            zmq_msg_t message;
            need(zmq_msg_init(&message), "zmq_msg_init");
            need(zmq_msg_recv(&message, socket_, 0), "zmq_msg_recv");
            readPayload(zmq_msg_data(&message), zmq_msg_size(&message));
            need(zmq_msg_close(&message), "zmq_msg_close");
        }
    }

private:
    void* socket_;
};

}  // namespace

std::unique_ptr<End> Bench::makeHub(const Job& job) {
    auto hub = std::make_unique<Socket>(job.measure == "manySenders" ? ZMQ_PULL : ZMQ_PAIR);
    hub->bind(job);
    return hub;
}

std::unique_ptr<End> Bench::makeSpoke(const Job& job) {
    auto spoke = std::make_unique<Socket>(job.measure == "manySenders" ? ZMQ_PUSH : ZMQ_PAIR);
    spoke->connect(job);
    return spoke;
}
