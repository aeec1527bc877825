#include "failingNew.h"

#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

constexpr int kNever = -1;

thread_local int successesBeforeFailure = kNever;

bool thisOneFails() {
    return successesBeforeFailure != kNever && successesBeforeFailure-- == 0;
}

}  // namespace

FailingNew::FailingNew(int successes) {
    successesBeforeFailure = successes;
}

FailingNew::~FailingNew() {
    successesBeforeFailure = kNever;
}

void* operator new(std::size_t size) {
    void* const memory = thisOneFails() ? nullptr : std::malloc(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
