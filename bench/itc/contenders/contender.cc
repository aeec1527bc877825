#include "contender.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace Bench {

namespace {

constexpr std::size_t kCacheLine = 64;

// So that the compiler can't spare itself the reading.
std::atomic<unsigned char> sumOfLastRead;

}  // namespace

void writePayload(void* payload, std::size_t size) {
    std::memset(payload, 'x', size);
}

void readPayload(const void* payload, std::size_t size) {
    const auto* bytes = static_cast<const unsigned char*>(payload);
    unsigned char sum = 0;
    for (std::size_t at = 0; at < size; at += kCacheLine) {
        sum = static_cast<unsigned char>(sum + bytes[at]);
    }
    sumOfLastRead.store(sum, std::memory_order_relaxed);
}

void fail(const std::string& what) {
    std::fprintf(stderr, "%s\n", what.c_str());
    std::_Exit(EXIT_FAILURE);
}

void failWithErrno(const std::string& what) {
    fail(what + ": " + std::strerror(errno));
}

int need(int result, const char* what) {
    if (result < 0) {
        failWithErrno(what);
    }
    return result;
}

}  // namespace Bench
