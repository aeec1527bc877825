// doorbell.h: a descriptor that a test makes readable and not readable at will.
//
// Only the test's own thread calls; the Doorbell owns its descriptor.
#ifndef QUORIA_EVENTLOOP_TEST_DOORBELL_H
#define QUORIA_EVENTLOOP_TEST_DOORBELL_H

#include <gtest/gtest.h>
#include <sys/eventfd.h>
#include <unistd.h>

class Doorbell {
public:
    Doorbell() : fd_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) { EXPECT_NE(fd_, -1); }
    ~Doorbell() { EXPECT_EQ(close(fd_), 0) << "somebody else has closed the descriptor"; }
    Doorbell(const Doorbell&) = delete;
    Doorbell& operator=(const Doorbell&) = delete;

    int fd() const { return fd_; }
    void ring() { EXPECT_EQ(eventfd_write(fd_, 1), 0); }
    void silence() {
        eventfd_t rings = 0;
        EXPECT_EQ(eventfd_read(fd_, &rings), 0);
    }

private:
    const int fd_;
};

#endif
