// flushCounter.h: a stream buffer that counts how often its stream is flushed.
//
// Test support.
#ifndef QUORIATEST_FLUSHCOUNTER_H
#define QUORIATEST_FLUSHCOUNTER_H

#include <sstream>

namespace QuoriaTest {

class FlushCounter : public std::stringbuf {
public:
    int flushes() const { return flushes_; }

private:
    int sync() override {
        ++flushes_;
        return 0;
    }

    int flushes_ = 0;
};

}  // namespace QuoriaTest

#endif
