// The three statics by which every per-thread class of libquoria is shared with programs that have
// the template's code in themselves.

#include <pthread.h>

#include <gtest/gtest.h>

#include <string>

#include "exportedSymbol.h"

namespace {

// The mangled class, and its operation that returns the thread's instance.
struct PerThreadClass {
    std::string scope;
    std::string accessor = "11getInstanceEv";
};

// The accessors are called by their names alone, whatever type they return a pointer to.
#if defined(__clang__)
__attribute__((no_sanitize("function")))
#endif
void expectStatics(const PerThreadClass& perThread) {
    const std::string statics =
        "_ZN6Quoria11ThreadLocal2V16detail16ThreadLocalLinuxINS_" + perThread.scope + "ELi1EE";
    const ExportedSymbol keyCreated(statics + "11_keyCreatedE");
    const ExportedSymbol onceOfKey(statics + "11_tlsKeyOnceE");
    const ExportedSymbol key(statics + "7_tlsKeyE");
    EXPECT_EQ(keyCreated.size, sizeof(bool));
    EXPECT_EQ(onceOfKey.size, sizeof(pthread_once_t));
    EXPECT_EQ(key.size, sizeof(pthread_key_t));

    const std::string prefix = "_ZN6Quoria" + perThread.scope;
    const auto getInstance =
        reinterpret_cast<void* (*)()>(ExportedSymbol(prefix + perThread.accessor).address);
    const auto reset = reinterpret_cast<void (*)()>(ExportedSymbol(prefix + "5resetEv").address);
    EXPECT_FALSE(keyCreated.as<bool>());
    void* const instance = getInstance();
    EXPECT_TRUE(keyCreated.as<bool>());
    EXPECT_EQ(pthread_getspecific(key.as<pthread_key_t>()), instance);
    reset();
    EXPECT_EQ(pthread_getspecific(key.as<pthread_key_t>()), nullptr);
    EXPECT_TRUE(keyCreated.as<bool>());

    // The key has been made: its turn is over.
    pthread_once(&onceOfKey.as<pthread_once_t>(), [] { ADD_FAILURE() << "the key is made again"; });
}

TEST(ThreadLocalStatics, OfTheEventLoopAreShared) {
    expectStatics({"9EventLoop2V113EventLoopImpl"});
}

TEST(ThreadLocalStatics, OfTheTimerManagerAreShared) {
    expectStatics({"5Timer2V116TimerManagerImpl"});
}

TEST(ThreadLocalStatics, OfTheItcMessageSubscriptionAreShared) {
    expectStatics({"22ItcMessageSubscription2V126ItcMessageSubscriptionImpl"});
}

TEST(ThreadLocalStatics, OfTheItcMailboxLocatorAreShared) {
    expectStatics({"17ItcMailboxLocator2V121ItcMailboxLocatorImpl"});
}

TEST(ThreadLocalStatics, OfTheItcMailboxMonitorAreShared) {
    expectStatics({"17ItcMailboxMonitor2V121ItcMailboxMonitorImpl"});
}

TEST(ThreadLocalStatics, OfTheRciServerAreShared) {
    expectStatics({"15CommandRegistry7Backend9RciServer", "22getThreadLocalInstanceEv"});
}

}  // namespace
