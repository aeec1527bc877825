// messageQueue.h: the messages that a mailbox has fetched and its owner has not received yet.
//
// Private header of platform/itc.
//
// First in, first out, with removal anywhere for receivers that choose. It does not own the
// messages. A ring, so that passing through it costs no memory of its own; one that a backlog has
// made large is given up when it runs empty.
#ifndef ITC_MESSAGEQUEUE_H
#define ITC_MESSAGEQUEUE_H

#include "itc.h"

#include <cstddef>
#include <vector>

namespace itc {

class MessageQueue {
public:
    bool empty() const { return size_ == 0; }
    std::size_t size() const { return size_; }
    // The oldest has the index 0.
    itc_msg* operator[](std::size_t index) const { return ring_[(first_ + index) & mask_]; }

    // Makes room for so many messages in all; up to that, push() throws nothing.
    void reserve(std::size_t count) {
        while (ring_.size() < count) {
            grow();
        }
    }
    void push(itc_msg* message) {
        if (size_ == ring_.size()) {
            grow();
        }
        ring_[(first_ + size_++) & mask_] = message;
    }
    // Takes out the message at `index`, which must be less than size().
    itc_msg* take(std::size_t index);

private:
    void grow();

    std::vector<itc_msg*> ring_;  // its size is a power of two, or zero
    std::size_t mask_ = 0;
    std::size_t first_ = 0;
    std::size_t size_ = 0;
};

}  // namespace itc

#endif
