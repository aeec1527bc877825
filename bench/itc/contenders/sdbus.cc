// sd-bus, peer to peer: method calls, and calls without a reply for the way in one direction.

#include "contender.h"
#include "unixSocket.h"

#include <systemd/sd-bus.h>

#include <cerrno>
#include <cstdint>

#include <sys/socket.h>

namespace {

using namespace Bench;

constexpr char kPath[] = "/bench";
constexpr char kInterface[] = "bench.Contender";
constexpr char kMember[] = "Take";

void succeed(int result, const char* what) {
    errno = -result;
    need(result, what);
}

void appendPayload(sd_bus_message* message, std::size_t size) {
    void* payload = nullptr;
    succeed(sd_bus_message_append_array_space(message, 'y', size, &payload), "append_array_space");
    writePayload(payload, size);
}

void readPayloadOf(sd_bus_message* message) {
    const void* payload = nullptr;
    std::size_t size = 0;
    succeed(sd_bus_message_read_array(message, 'y', &payload, &size), "read_array");
    readPayload(payload, size);
}

class Bus : public End {
public:
    ~Bus() override { sd_bus_flush_close_unref(bus_); }

    void send(std::size_t size) override {
        sd_bus_message* message = newCall(size);
        succeed(sd_bus_message_set_expect_reply(message, 0), "set_expect_reply");
        succeed(sd_bus_send(bus_, message, nullptr), "sd_bus_send");
        sd_bus_message_unref(message);
        succeed(sd_bus_flush(bus_), "sd_bus_flush");
    }

    void receive(std::size_t count) override {
        for (; count > 0; --count) {
            sd_bus_message* message = nextCall();
            readPayloadOf(message);
            sd_bus_message_unref(message);
        }
    }

    void call(std::size_t size) override {
        sd_bus_message* message = newCall(size);
        sd_bus_message* reply = nullptr;
        succeed(sd_bus_call(bus_, message, 0, nullptr, &reply), "sd_bus_call");
        readPayloadOf(reply);
        sd_bus_message_unref(reply);
        sd_bus_message_unref(message);
    }

    void serveCall(std::size_t size) override {
        sd_bus_message* message = nextCall();
        readPayloadOf(message);
        sd_bus_message* reply = nullptr;
        succeed(sd_bus_message_new_method_return(message, &reply), "new_method_return");
        appendPayload(reply, size);
        succeed(sd_bus_send(bus_, reply, nullptr), "sd_bus_send");
        sd_bus_message_unref(reply);
        sd_bus_message_unref(message);
    }

protected:
    void start(int connection, bool asServer) {
        succeed(sd_bus_new(&bus_), "sd_bus_new");
        succeed(sd_bus_set_fd(bus_, connection, connection), "sd_bus_set_fd");
        if (asServer) {
            sd_id128_t id;
            succeed(sd_id128_randomize(&id), "sd_id128_randomize");
            succeed(sd_bus_set_server(bus_, 1, id), "sd_bus_set_server");
        }
        succeed(sd_bus_start(bus_), "sd_bus_start");
    }
    bool isStarted() const { return bus_ != nullptr; }

private:
    sd_bus_message* newCall(std::size_t size) {
        sd_bus_message* message = nullptr;
        succeed(sd_bus_message_new_method_call(bus_, &message, nullptr, kPath, kInterface, kMember),
                "new_method_call");
        appendPayload(message, size);
        return message;
    }

    virtual void prepareToReceive() {}

    sd_bus_message* nextCall() {
        prepareToReceive();
        for (;;) {
            sd_bus_message* message = nullptr;
            const int result = sd_bus_process(bus_, &message);
            succeed(result, "sd_bus_process");
            if (message != nullptr &&
                sd_bus_message_is_method_call(message, kInterface, kMember) > 0) {
                return message;
            }
            sd_bus_message_unref(message);
            if (result == 0) {
                succeed(sd_bus_wait(bus_, UINT64_MAX), "sd_bus_wait");
            }
        }
    }

    sd_bus* bus_ = nullptr;
};

std::string pathOf(const Job& job) {
    return job.folder + "/socket";
}

class Hub : public Bus {
public:
    explicit Hub(const Job& job) : listener_(listenAt(pathOf(job), SOCK_STREAM)) {}

private:
    void prepareToReceive() override {
        if (!isStarted()) {
            start(
                need(accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK), "accept4"),
                true);
        }
    }

    int listener_;
};

class Spoke : public Bus {
public:
    explicit Spoke(const Job& job) { start(connectTo(pathOf(job), SOCK_STREAM), false); }
};

}  // namespace

std::unique_ptr<End> Bench::makeHub(const Job& job) {
    return std::make_unique<Hub>(job);
}

std::unique_ptr<End> Bench::makeSpoke(const Job& job) {
    return std::make_unique<Spoke>(job);
}
