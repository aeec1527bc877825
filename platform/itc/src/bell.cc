#include "bell.h"

#include <cerrno>

#include <unistd.h>

namespace itc {

namespace {

void ringAt(MailboxRecord& record, int bell, std::uint32_t number, std::uint32_t state) {
    if ((state & 1) == 0 && record.bell.load(std::memory_order_relaxed) == number) {
        strikeBell(bell);
        record.bellState.compare_exchange_strong(state, state | 1, std::memory_order_acq_rel,
                                                 std::memory_order_relaxed);
    }
}

}  // namespace

void strikeBell(int bell) {
    const char stroke = 0;
    while (write(bell, &stroke, 1) < 0 && errno == EINTR) {
    }
    // Any other failure is a full FIFO, which rings all the louder.
}

bool isBellSilent(const MailboxRecord& record) {
    return (record.bellState.load(std::memory_order_seq_cst) & 1) == 0;
}

void ringBell(MailboxRecord& record, int bell, std::uint32_t number) {
    ringAt(record, bell, number, record.bellState.load(std::memory_order_seq_cst));
}

// With nothing that is ordered like the stack, only a read-modify-write is sure to see the latest
// state, or to be seen by the receiver's own.
void ringBellAfterPosting(MailboxRecord& record, int bell, std::uint32_t number) {
    ringAt(record, bell, number, record.bellState.fetch_or(0, std::memory_order_acq_rel));
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
