// operation.h: what the programs that measure single operations have in common.
//
// Private header of the benchmark.
#ifndef QUORIA_BENCH_OPERATION_H
#define QUORIA_BENCH_OPERATION_H

#include "contender.h"
#include "setting.h"

#include <itc.h>

#include <cstddef>
#include <cstdint>

namespace Bench {

constexpr std::uint32_t kMsgNo = 1;

inline itc_mbox_id_t createMailbox(const char* name) {
    const itc_mbox_id_t mailbox = itc_create_mailbox(name, 0);
    if (mailbox == ITC_NO_MAILBOX) {
        fail("no mailbox");
    }
    return mailbox;
}

// Returns nanoseconds per call, after a warm-up.
template <typename Operation>
double timeOf(std::size_t count, const Operation& operation) {
    for (std::size_t left = count / 10 + 1; left > 0; --left) {
        operation();
    }
    const double start = now();
    for (std::size_t left = count; left > 0; --left) {
        operation();
    }
    return (now() - start) / static_cast<double>(count);
}

}  // namespace Bench

#endif
