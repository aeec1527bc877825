#include "descriptor.h"

#include <atomic>
#include <cstddef>
#include <cstdint>

#include <unistd.h>

namespace itc {

namespace {

// One bit per descriptor number. Above the table a descriptor is not tracked; close-on-exec still
// ends it in a child that executes something.
constexpr std::size_t kTracked = 1U << 20;
constexpr std::size_t kWordBits = 64;
std::atomic<std::uint64_t> open_[kTracked / kWordBits];
std::atomic<std::size_t> wordsUsed_{0};

std::uint64_t bitOf(int fd) {
    return std::uint64_t{1} << (static_cast<std::size_t>(fd) % kWordBits);
}

void track(int fd) {
    const std::size_t word = static_cast<std::size_t>(fd) / kWordBits;
    if (word >= kTracked / kWordBits) {
        return;
    }
    open_[word].fetch_or(bitOf(fd), std::memory_order_relaxed);
    std::size_t used = wordsUsed_.load(std::memory_order_relaxed);
    while (used <= word &&
           !wordsUsed_.compare_exchange_weak(used, word + 1, std::memory_order_relaxed)) {
    }
}

void untrack(int fd) {
    const std::size_t word = static_cast<std::size_t>(fd) / kWordBits;
    if (word < kTracked / kWordBits) {
        open_[word].fetch_and(~bitOf(fd), std::memory_order_relaxed);
    }
}

}  // namespace

Descriptor::Descriptor(int fd) : fd_(fd) {
    if (fd_ >= 0) {
        track(fd_);
    }
}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
    if (this != &other) {
        close();
        fd_ = std::exchange(other.fd_, -1);
    }
    return *this;
}

void Descriptor::close() {
    if (fd_ >= 0) {
        untrack(fd_);
        ::close(fd_);  // whatever it returns, the number is free: there is nothing left to do
        fd_ = -1;
    }
}

void Descriptor::closeAllInChild() {
    const std::size_t used = wordsUsed_.load(std::memory_order_relaxed);
    for (std::size_t word = 0; word < used; ++word) {
        const std::uint64_t bits = open_[word].exchange(0, std::memory_order_relaxed);
        for (std::size_t bit = 0; bit < kWordBits; ++bit) {
            if ((bits >> bit & 1) != 0) {
                ::close(static_cast<int>(word * kWordBits + bit));  // as above
            }
        }
    }
}

}  // namespace itc
