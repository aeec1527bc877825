// descriptor.h: a file descriptor that closes itself and does not outlive a fork.
//
// Private header of platform/itc.
//
// A forked child must hold none of its parent's locks and wake-up descriptors, or a dead parent
// would seem alive. Every descriptor of this library is therefore known here, and closeAllInChild()
// closes them without a look at any object whose state the fork may have frozen half-way.
#ifndef ITC_DESCRIPTOR_H
#define ITC_DESCRIPTOR_H

#include <utility>

namespace itc {

class Descriptor {
public:
    Descriptor() = default;
    // Takes over `fd`, the result of a call that opens something; -1 stays -1.
    explicit Descriptor(int fd);
    Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept;
    ~Descriptor() { close(); }

    int get() const { return fd_; }
    explicit operator bool() const { return fd_ >= 0; }
    void close();

    // In a child process, by its only thread: closes what the parent had. Async-signal-safe.
    static void closeAllInChild();

private:
    int fd_ = -1;
};

}  // namespace itc

#endif
