#include "bell.h"

#include <cerrno>

#include <unistd.h>

namespace itc {

namespace {

// In MailboxRecord::bellState.
constexpr std::uint32_t kRings = 1;
constexpr std::uint32_t kIsBeingStruck = 2;
constexpr std::uint32_t kMarks = kRings | kIsBeingStruck;

}  // namespace

void strikeBell(int bell) {
    const char stroke = 0;
    while (write(bell, &stroke, 1) < 0 && errno == EINTR) {
    }
    // Any other failure is a full FIFO, which rings all the louder.
}

bool isBellKnownToRing(const MailboxRecord& record) {
    return (record.bellState.load(std::memory_order_seq_cst) & kRings) != 0;
}

bool mayBellRing(const MailboxRecord& record) {
    return (record.bellState.load(std::memory_order_relaxed) & kMarks) != 0;
}

// Who has posted under a lock has nothing that is ordered like the stack. A read-modify-write is
// sure to see the latest state, or to be seen by the receiver's own.
void ringBell(MailboxRecord& record, int bell, std::uint32_t number) {
    std::uint32_t state =
        record.bellState.fetch_or(kIsBeingStruck, std::memory_order_acq_rel) | kIsBeingStruck;
    if ((state & kRings) != 0 || record.bell.load(std::memory_order_relaxed) != number) {
        return;
    }
    strikeBell(bell);
    record.bellState.compare_exchange_strong(state, state | kRings, std::memory_order_acq_rel,
                                             std::memory_order_relaxed);
}

void silenceBell(MailboxRecord& record, int bell) {
    char strokes[256];
    ssize_t count = 0;
    do {
        count = read(bell, strokes, sizeof(strokes));
    } while (count == static_cast<ssize_t>(sizeof(strokes)) || (count < 0 && errno == EINTR));
    // Otherwise the bell is empty now. A sender may mark the state meanwhile; the next era is the
    // same.
    const std::uint32_t state = record.bellState.load(std::memory_order_relaxed);
    record.bellState.exchange((state | kMarks) + 1, std::memory_order_seq_cst);
}

}  // namespace itc
