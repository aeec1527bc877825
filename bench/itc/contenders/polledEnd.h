// polledEnd.h: an end that waits with epoll, as a service with an event loop does.
//
// Private header of the benchmark.
//
// It waits before every message of a round trip; in a flow of messages it takes all that are there
// between two waits.
#ifndef QUORIA_BENCH_POLLEDEND_H
#define QUORIA_BENCH_POLLEDEND_H

#include "contender.h"

namespace Bench {

class PolledEnd : public End {
public:
    PolledEnd();
    ~PolledEnd() override;
    PolledEnd(const PolledEnd&) = delete;
    PolledEnd& operator=(const PolledEnd&) = delete;

    void receive(std::size_t count) final;

protected:
    void watch(int fd);
    // Takes and reads one message of the descriptor that is readable. Returns false if there is
    // none (any more).
    virtual bool take(int fd) = 0;

private:
    int epoll_;
};

}  // namespace Bench

#endif
