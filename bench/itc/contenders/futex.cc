// A ring of slots in shared memory with a futex at either end: the least that two processes need to
// talk. One spoke, payloads of one size, nothing that survives a kill, nothing to poll.

#include "contender.h"

#include <atomic>
#include <climits>
#include <cstdint>
#include <new>

#include <fcntl.h>
#include <linux/futex.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

using namespace Bench;

constexpr std::size_t kRingBytes = 1U << 20;

// Counts up; who waits for it says so, so that nobody is woken in vain.
class Counter {
public:
    std::uint32_t value() const { return value_.load(std::memory_order_acquire); }

    void advance() {
        value_.fetch_add(1);
        if (waiters_.load() != 0) {
            syscall(SYS_futex, &value_, FUTEX_WAKE, INT_MAX, nullptr, nullptr, 0);
        }
    }

    void awaitOtherThan(std::uint32_t value) {
        while (value_.load() == value) {
            waiters_.fetch_add(1);
            // Returns at once if the value has moved; a signal or nothing at all may wake it too.
            syscall(SYS_futex, &value_, FUTEX_WAIT, value, nullptr, nullptr, 0);
            waiters_.fetch_sub(1);
        }
    }

private:
    std::atomic<std::uint32_t> value_{0};
    std::atomic<std::uint32_t> waiters_{0};
};

struct Ring {
    alignas(64) Counter sent;
    alignas(64) Counter taken;
    alignas(64) unsigned char slots[kRingBytes];
};

struct Shared {
    Ring toHub;
    Ring toSpoke;
};

Shared* mapShared(const Job& job, int flags) {
    const int fd = need(open((job.folder + "/rings").c_str(), O_RDWR | flags, 0600), "open");
    need(ftruncate(fd, sizeof(Shared)), "ftruncate");
    void* memory = mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (memory == MAP_FAILED) {
        failWithErrno("mmap");
    }
    close(fd);
    return static_cast<Shared*>(memory);
}

class Rings : public End {
public:
    Rings(const Job& job, Ring& in, Ring& out)
        : in_(in),
          out_(out),
          size_(job.size),
          slots_(static_cast<std::uint32_t>(kRingBytes / size_)) {}

    void send(std::size_t size) override {
        const std::uint32_t sent = out_.sent.value();
        if (sent - out_.taken.value() == slots_) {
            out_.taken.awaitOtherThan(sent - slots_);
        }
        writePayload(slot(out_, sent), size);
        out_.sent.advance();
    }

    void receive(std::size_t count) override {
        for (; count > 0; --count) {
            const std::uint32_t taken = in_.taken.value();
            in_.sent.awaitOtherThan(taken);
            readPayload(slot(in_, taken), size_);
            in_.taken.advance();
        }
    }

private:
    void* slot(Ring& ring, std::uint32_t number) const {
        return ring.slots + static_cast<std::size_t>(number % slots_) * size_;
    }

    Ring& in_;
    Ring& out_;
    std::size_t size_;
    std::uint32_t slots_;
};

}  // namespace

std::unique_ptr<End> Bench::makeHub(const Job& job) {
    Shared* shared = new (mapShared(job, O_CREAT)) Shared;
    return std::make_unique<Rings>(job, shared->toHub, shared->toSpoke);
}

std::unique_ptr<End> Bench::makeSpoke(const Job& job) {
    Shared* shared = mapShared(job, 0);
    return std::make_unique<Rings>(job, shared->toSpoke, shared->toHub);
}
