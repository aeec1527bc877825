// Thread-local instances and the calls of the threads library that they make, which may fail.
#include <quoria/threadLocal/threadLocalLinux.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <cstddef>
#include <memory>
#include <new>
#include <thread>

namespace {

thread_local bool onceFails = false;
thread_local bool keyCreateFails = false;
thread_local bool setSpecificFails = false;
thread_local int failingStore = 0;  // counted from now on, or 0 for none

// What this thread has called.
struct Calls {
    int once = 0;
    int keyCreate = 0;
    int getSpecific = 0;
    int setSpecific = 0;
};
thread_local Calls calls;

}  // namespace

// The linker hands the calls of this test program here.
extern "C" {

int __real_pthread_once(pthread_once_t* once, void (*function)());
int __wrap_pthread_once(pthread_once_t* once, void (*function)()) {
    ++calls.once;
    return onceFails ? EINVAL : __real_pthread_once(once, function);
}

int __real_pthread_key_create(pthread_key_t* key, void (*destructor)(void*));
int __wrap_pthread_key_create(pthread_key_t* key, void (*destructor)(void*)) {
    ++calls.keyCreate;
    return keyCreateFails ? EAGAIN : __real_pthread_key_create(key, destructor);
}

void* __real_pthread_getspecific(pthread_key_t key);
void* __wrap_pthread_getspecific(pthread_key_t key) {
    ++calls.getSpecific;
    return __real_pthread_getspecific(key);
}

int __real_pthread_setspecific(pthread_key_t key, const void* value);
int __wrap_pthread_setspecific(pthread_key_t key, const void* value) {
    ++calls.setSpecific;
    if (value != nullptr && failingStore > 0 && --failingStore == 0) {
        return ENOMEM;
    }
    return setSpecificFails ? ENOMEM : __real_pthread_setspecific(key, value);
}
}

namespace {

using Quoria::ThreadLocal::V1::detail::ThreadLocalLinux;

struct Plain {
    int value = 0;
};

// The caller gets an instance that nobody keeps for it, and the next call another.
template <typename Instance>
void expectAnInstancePerCall() {
    const std::unique_ptr<Plain> first(Instance::getInstance());
    const std::unique_ptr<Plain> second(Instance::getInstance());
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    EXPECT_NE(first, second);
    EXPECT_EQ(Instance::peekInstance(), nullptr);
    Instance::resetInstance();  // nothing is there to be deleted
}

TEST(ThreadLocalFailure, WithoutAKeyEachCallGetsAnInstanceOfItsOwn) {
    keyCreateFails = true;
    expectAnInstancePerCall<ThreadLocalLinux<Plain, 11>>();
    keyCreateFails = false;
}

TEST(ThreadLocalFailure, WithoutTheCallThatMakesTheKeyEachCallGetsAnInstanceOfItsOwn) {
    onceFails = true;
    expectAnInstancePerCall<ThreadLocalLinux<Plain, 12>>();
    onceFails = false;
}

TEST(ThreadLocalFailure, OfTheCallThatMakesTheKeyIsNotMetTwice) {
    using Instance = ThreadLocalLinux<Plain, 16>;
    onceFails = true;
    delete Instance::getInstance();
    onceFails = false;
    calls = {};

    EXPECT_EQ(Instance::peekInstance(), nullptr);

    EXPECT_EQ(calls.once, 0);
    EXPECT_EQ(calls.getSpecific, 1);
}

TEST(ThreadLocalFailure, AnInstanceThatCannotBeStoredServesItsCallerOnly) {
    using Instance = ThreadLocalLinux<Plain, 13>;
    setSpecificFails = true;
    expectAnInstancePerCall<Instance>();
    setSpecificFails = false;

    EXPECT_EQ(Instance::getInstance(), Instance::getInstance());
    Instance::resetInstance();
}

struct Counted {
    Counted() { ++alive; }
    ~Counted() { --alive; }
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;

    static inline int alive = 0;
};

// To store null, as a reset does, needs no memory and can't fail.
TEST(ThreadLocalFailure, OfAnyOneStoreCostsThatInstanceOnly) {
    using Instance = ThreadLocalLinux<Counted, 14>;
    constexpr int kRounds = 4;
    for (int failingRound = 1; failingRound <= kRounds; ++failingRound) {
        failingStore = failingRound;
        for (int round = 1; round <= kRounds; ++round) {
            Counted* const first = Instance::getInstance();
            Counted* const second = Instance::getInstance();
            ASSERT_NE(first, nullptr);
            EXPECT_EQ(first == second, round != failingRound);
            EXPECT_EQ(Instance::peekInstance(), second);
            if (round == failingRound) {
                delete first;
            }
            Instance::resetInstance();
            EXPECT_EQ(Instance::peekInstance(), nullptr);
            EXPECT_EQ(Counted::alive, 0);
        }
    }
}

struct WithoutMemory {
    static void* operator new(std::size_t) { throw std::bad_alloc(); }
    static void* operator new(std::size_t, const std::nothrow_t&) noexcept { return nullptr; }
    static void operator delete(void*) noexcept {}
};

TEST(ThreadLocalFailure, WhatIsThrownForWantOfMemoryPassesThroughAndNothingIsStored) {
    using Instance = ThreadLocalLinux<WithoutMemory, 15>;
    calls = {};
    EXPECT_THROW(Instance::getInstance(), std::bad_alloc);
    EXPECT_EQ(calls.setSpecific, 0);
    EXPECT_EQ(Instance::peekInstance(), nullptr);
}

// Makes the key of the class of that number, which must be its first use in the process.
template <int Slot>
void expectTheKeyToBeMade(void (*use)()) {
    calls = {};
    use();
    EXPECT_EQ(calls.once, 1);
    EXPECT_EQ(calls.keyCreate, 1);
    ThreadLocalLinux<Plain, Slot>::resetInstance();
}

TEST(ThreadLocalCalls, WhicheverOperationComesFirstMakesTheKey) {
    expectTheKeyToBeMade<21>([] { ThreadLocalLinux<Plain, 21>::getInstance(); });
    expectTheKeyToBeMade<22>([] { ThreadLocalLinux<Plain, 22>::peekInstance(); });
    expectTheKeyToBeMade<23>([] { ThreadLocalLinux<Plain, 23>::resetInstance(); });
}

TEST(ThreadLocalCalls, OnceAnInstanceIsMadeAnAccessorOnlyReadsTheThreadsValue) {
    using Instance = ThreadLocalLinux<Plain, 24>;
    Instance::getInstance();
    calls = {};
    Instance::getInstance();
    EXPECT_EQ(calls.getSpecific, 1);
    EXPECT_EQ(calls.once + calls.keyCreate + calls.setSpecific, 0);
    Instance::resetInstance();
}

TEST(ThreadLocalCalls, TheKeyServesAllThreadsAndAllInstances) {
    using Instance = ThreadLocalLinux<Plain, 25>;
    Instance::getInstance();
    Instance::resetInstance();
    calls = {};
    Instance::getInstance();
    Instance::resetInstance();
    EXPECT_EQ(calls.once + calls.keyCreate, 0);
    std::thread([] {
        Instance::getInstance();
        EXPECT_EQ(calls.once + calls.keyCreate, 0);
    }).join();
}

}  // namespace
