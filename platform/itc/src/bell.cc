#include "bell.h"

#include <cerrno>

#include <unistd.h>

namespace itc {

void strikeBell(int bell) {
    const char stroke = 0;
    while (write(bell, &stroke, 1) < 0 && errno == EINTR) {
    }
    // Any other failure is a full FIFO, which rings all the louder.
}

void ringBell(MailboxRecord& record, int bell, bool publishedOnStack) {
    // The stack and the state are ordered by sequential consistency; for anything else only a
    // read-modify-write is sure to see the latest state or to be seen by the receiver's own.
    std::uint32_t state = publishedOnStack
                              ? record.bellState.load(std::memory_order_seq_cst)
                              : record.bellState.fetch_or(0, std::memory_order_acq_rel);
    if ((state & 1) == 0) {
        strikeBell(bell);
        record.bellState.compare_exchange_strong(state, state | 1, std::memory_order_acq_rel,
                                                 std::memory_order_relaxed);
    }
}

void silenceBell(MailboxRecord& record, int bell) {
    char strokes[256];
    ssize_t count = 0;
    do {
        count = read(bell, strokes, sizeof(strokes));
    } while (count == static_cast<ssize_t>(sizeof(strokes)) || (count < 0 && errno == EINTR));
    // Otherwise the bell is empty now. A sender may mark the state odd meanwhile; the next even
    // value is the same for both.
    const std::uint32_t state = record.bellState.load(std::memory_order_relaxed);
    record.bellState.exchange((state | 1) + 1, std::memory_order_seq_cst);
}

}  // namespace itc
