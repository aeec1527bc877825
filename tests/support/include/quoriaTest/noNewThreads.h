// noNewThreads.h: lets the system refuse new threads.
//
// While a NoNewThreads exists, starting a std::thread throws std::system_error on any thread of the
// process: it asks for a stack that is larger than the address space. Threads that run already are
// not affected.
#ifndef QUORIATEST_NONEWTHREADS_H
#define QUORIATEST_NONEWTHREADS_H

#include <pthread.h>

#include <cstddef>
#include <stdexcept>

namespace QuoriaTest {

class NoNewThreads {
public:
    NoNewThreads() {
        if (pthread_getattr_default_np(&usual_) != 0) {
            throw std::runtime_error("pthread_getattr_default_np failed");
        }
        pthread_attr_t huge = usual_;
        constexpr std::size_t kHuge = std::size_t{1} << 60;
        if (pthread_attr_setstacksize(&huge, kHuge) != 0 ||
            pthread_setattr_default_np(&huge) != 0) {
            throw std::runtime_error("pthread_setattr_default_np failed");
        }
    }
    ~NoNewThreads() {
        // Results are not used: nothing of this can fail with what the system gave out itself.
        pthread_setattr_default_np(&usual_);
        pthread_attr_destroy(&usual_);
    }
    NoNewThreads(const NoNewThreads&) = delete;
    NoNewThreads& operator=(const NoNewThreads&) = delete;

private:
    pthread_attr_t usual_;
};

}  // namespace QuoriaTest

#endif
