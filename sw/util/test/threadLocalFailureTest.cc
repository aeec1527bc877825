// Thread-local instances when the threads library fails.
#include <quoria/threadLocal/threadLocalLinux.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <memory>

namespace {

thread_local bool onceFails = false;
thread_local bool keyCreateFails = false;
thread_local bool setSpecificFails = false;
thread_local int failingStore = 0;  // counted from now on, or 0 for none

}  // namespace

// The linker hands the calls of this test program here.
extern "C" {

int __real_pthread_once(pthread_once_t* once, void (*function)());
int __wrap_pthread_once(pthread_once_t* once, void (*function)()) {
    return onceFails ? EINVAL : __real_pthread_once(once, function);
}

int __real_pthread_key_create(pthread_key_t* key, void (*destructor)(void*));
int __wrap_pthread_key_create(pthread_key_t* key, void (*destructor)(void*)) {
    return keyCreateFails ? EAGAIN : __real_pthread_key_create(key, destructor);
}

int __real_pthread_setspecific(pthread_key_t key, const void* value);
int __wrap_pthread_setspecific(pthread_key_t key, const void* value) {
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

}  // namespace
