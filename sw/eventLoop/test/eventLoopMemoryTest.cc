// What a loop that only dispatches asks of the heap.
#include <quoria/eventLoop/eventLoopIf.h>

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdlib>
#include <new>

#include "doorbell.h"
#include "eventLoopImpl.h"

namespace {

thread_local std::size_t allocations = 0;

}  // namespace

void* operator new(std::size_t size) {
    ++allocations;
    void* const memory = std::malloc(size);
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

namespace {

using Quoria::EventLoop::V1::EventLoopIf;
using Quoria::EventLoop::V1::EventLoopImpl;

// Too large for a function to hold in itself: a copy of the function allocates.
using Luggage = std::array<int, 64>;

class EventLoopMemory : public testing::Test {
protected:
    ~EventLoopMemory() override { EventLoopImpl::reset(); }

    EventLoopIf& loop_ = *EventLoopIf::getInstance();
    Doorbell bell_;
};

TEST_F(EventLoopMemory, WaitingAndCallingHandlersNeedNone) {
    int calls = 0;
    const Luggage one = {1};
    ASSERT_EQ(loop_.addFdHandler(bell_.fd(), EventLoopIf::EVENT_IN,
                                 [this, &calls, one](int, unsigned int) {
                                     calls += one[0];
                                     if (calls == 10) {
                                         loop_.stop();
                                     }
                                 }),
              EventLoopIf::OK);
    bell_.ring();
    const std::size_t before = allocations;
    EXPECT_EQ(loop_.run(), EventLoopIf::OK);
    EXPECT_EQ(allocations, before);
    EXPECT_EQ(calls, 10);
}

TEST_F(EventLoopMemory, RunningDeferredFunctionsNeedsNone) {
    int calls = 0;
    const Luggage one = {1};
    for (int i = 0; i < 10; ++i) {
        ASSERT_EQ(loop_.scheduleEvent([&calls, one] { calls += one[0]; }), EventLoopIf::OK);
    }
    ASSERT_EQ(loop_.addFdHandler(bell_.fd(), EventLoopIf::EVENT_IN,
                                 [this](int, unsigned int) { loop_.stop(); }),
              EventLoopIf::OK);
    bell_.ring();
    const std::size_t before = allocations;
    EXPECT_EQ(loop_.run(), EventLoopIf::OK);
    EXPECT_EQ(allocations, before);
    EXPECT_EQ(calls, 10);
}

}  // namespace
