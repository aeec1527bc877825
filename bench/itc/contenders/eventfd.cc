// Between threads: a list under a mutex that the receiver takes whole, an eventfd and epoll. What a
// program writes for itself.

#include "polledEnd.h"

#include <cstdlib>
#include <mutex>

#include <sys/eventfd.h>
#include <unistd.h>

namespace {

using namespace Bench;

// The payload follows.
struct Message {
    Message* next;
    std::size_t size;
};

class Queue {
public:
    Queue() : bell_(need(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), "eventfd")) {}
    int bell() const { return bell_; }

    // The one who finds it empty rings.
    void put(Message* message) {
        bool wasEmpty = false;
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            wasEmpty = first_ == nullptr;
            (wasEmpty ? first_ : last_->next) = message;
            last_ = message;
        }
        if (wasEmpty) {
            need(eventfd_write(bell_, 1), "eventfd_write");
        }
    }

    Message* takeAll() {
        eventfd_t rung = 0;
        if (eventfd_read(bell_, &rung) != 0) {
            return nullptr;  // nobody has rung
        }
        const std::lock_guard<std::mutex> lock(mutex_);
        Message* all = first_;
        first_ = nullptr;
        return all;
    }

private:
    int bell_;
    std::mutex mutex_;
    Message* first_ = nullptr;
    Message* last_ = nullptr;
};

class Queues : public PolledEnd {
public:
    Queues(Queue& in, Queue& out) : in_(in), out_(out) { watch(in_.bell()); }

    void send(std::size_t size) override {
        auto* message = static_cast<Message*>(std::malloc(sizeof(Message) + size));
        message->next = nullptr;
        message->size = size;
        writePayload(message + 1, size);
        out_.put(message);
    }

private:
    bool take(int) override {
        if (taken_ == nullptr) {
            taken_ = in_.takeAll();
        }
        if (taken_ == nullptr) {
            return false;
        }
        Message* message = taken_;
        taken_ = message->next;
        readPayload(message + 1, message->size);
        std::free(message);
        return true;
    }

    Queue& in_;
    Queue& out_;
    Message* taken_ = nullptr;
};

Queue& toHub() {
    static Queue queue;
    return queue;
}

Queue& toSpoke() {
    static Queue queue;
    return queue;
}

}  // namespace

std::unique_ptr<End> Bench::makeHub(const Job&) {
    return std::make_unique<Queues>(toHub(), toSpoke());
}

std::unique_ptr<End> Bench::makeSpoke(const Job&) {
    return std::make_unique<Queues>(toSpoke(), toHub());
}
