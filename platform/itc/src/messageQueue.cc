#include "messageQueue.h"

namespace itc {

namespace {

constexpr std::size_t kSmall = 64;
constexpr std::size_t kLarge = 65536;

}  // namespace

itc_msg* MessageQueue::take(std::size_t index) {
    itc_msg* const message = (*this)[index];
    for (; index > 0; --index) {
        ring_[(first_ + index) & mask_] = (*this)[index - 1];
    }
    first_ = (first_ + 1) & mask_;
    if (--size_ == 0 && ring_.size() > kLarge) {
        *this = MessageQueue();
    }
    return message;
}

void MessageQueue::grow() {
    std::vector<itc_msg*> larger(ring_.empty() ? kSmall : 2 * ring_.size());
    for (std::size_t index = 0; index < size_; ++index) {
        larger[index] = (*this)[index];
    }
    ring_.swap(larger);
    mask_ = ring_.size() - 1;
    first_ = 0;
}

}  // namespace itc
