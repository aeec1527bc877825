// Thread-local instances when the threads library fails.
#include <quoria/threadLocal/threadLocalLinux.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <memory>

namespace {

thread_local bool onceFails = false;
thread_local bool keyCreateFails = false;
thread_local bool setSpecificFails = false;

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

}  // namespace
