#include <quoria/threadLocal/threadLocalLinux.h>

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <memory>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

namespace {

using Quoria::ThreadLocal::V1::detail::ThreadLocalLinux;

// Runs `body` on a thread of its own and returns when that thread has ended.
template <typename Body>
void onAnotherThread(Body body) {
    std::thread(std::move(body)).join();
}

struct Plain {
    int value = 0;
};
using PlainInstance = ThreadLocalLinux<Plain, 1>;

TEST(ThreadLocalLinux, AThreadGetsTheSameInstanceEveryTime) {
    Plain* const first = PlainInstance::getInstance();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(PlainInstance::getInstance(), first);
    EXPECT_EQ(PlainInstance::peekInstance(), first);
    PlainInstance::resetInstance();
}

TEST(ThreadLocalLinux, TwoThreadsGetTwoInstances) {
    Plain* const mine = PlainInstance::getInstance();
    onAnotherThread([mine] {
        Plain* const theirs = PlainInstance::getInstance();
        ASSERT_NE(theirs, nullptr);
        EXPECT_NE(theirs, mine);
    });
    PlainInstance::resetInstance();
}

TEST(ThreadLocalLinux, EachTypeAndEachNumberHasAnInstanceOfItsOwn) {
    EXPECT_NE((ThreadLocalLinux<Plain, 1>::getInstance()),
              (ThreadLocalLinux<Plain, 2>::getInstance()));
    ThreadLocalLinux<Plain, 1>::resetInstance();
    ThreadLocalLinux<Plain, 2>::resetInstance();
}

TEST(ThreadLocalLinux, PeekMakesNoInstance) {
    EXPECT_EQ(PlainInstance::peekInstance(), nullptr);
    EXPECT_EQ(PlainInstance::peekInstance(), nullptr);
}

TEST(ThreadLocalLinux, ResetWithoutAnInstanceDoesNothing) {
    PlainInstance::resetInstance();
    EXPECT_EQ(PlainInstance::peekInstance(), nullptr);
}

TEST(ThreadLocalLinux, AfterResetTheThreadGetsAFreshInstance) {
    PlainInstance::getInstance()->value = 7;
    PlainInstance::resetInstance();
    EXPECT_EQ(PlainInstance::peekInstance(), nullptr);
    EXPECT_EQ(PlainInstance::getInstance()->value, 0);
    PlainInstance::resetInstance();
}

TEST(ThreadLocalLinux, ResetLeavesTheInstancesOfOtherThreadsAlone) {
    PlainInstance::getInstance()->value = 7;
    onAnotherThread([] {
        PlainInstance::getInstance();
        PlainInstance::resetInstance();
    });
    ASSERT_NE(PlainInstance::peekInstance(), nullptr);
    EXPECT_EQ(PlainInstance::peekInstance()->value, 7);
    PlainInstance::resetInstance();
}

struct Counted {
    Counted() { ++alive; }
    ~Counted() { --alive; }
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;
    static std::atomic<int> alive;
};
std::atomic<int> Counted::alive{0};

TEST(ThreadLocalLinux, TheEndOfTheThreadDestroysItsInstance) {
    onAnotherThread([] {
        ThreadLocalLinux<Counted, 1>::getInstance();
        EXPECT_EQ(Counted::alive, 1);
    });
    EXPECT_EQ(Counted::alive, 0);
}

TEST(ThreadLocalLinux, AnInstanceThatWasResetIsNotDestroyedAgainAtTheEndOfTheThread) {
    onAnotherThread([] {
        ThreadLocalLinux<Counted, 1>::getInstance();
        ThreadLocalLinux<Counted, 1>::resetInstance();
        EXPECT_EQ(Counted::alive, 0);
    });
    EXPECT_EQ(Counted::alive, 0);
}

struct LooksBack {
    ~LooksBack();
    static LooksBack* found;
};
using LooksBackInstance = ThreadLocalLinux<LooksBack, 1>;
LooksBack* LooksBack::found = nullptr;
LooksBack::~LooksBack() {
    found = LooksBackInstance::getInstance();
}

TEST(ThreadLocalLinux, TheDestructorFindsTheDyingInstanceDuringReset) {
    LooksBack* const dying = LooksBackInstance::getInstance();
    LooksBackInstance::resetInstance();
    EXPECT_EQ(LooksBack::found, dying);
    EXPECT_EQ(LooksBackInstance::peekInstance(), nullptr);
}

struct ComesBackOnce {
    ComesBackOnce() { ++made; }
    ~ComesBackOnce();
    static int made;
    static int destroyed;
};
using ComesBackOnceInstance = ThreadLocalLinux<ComesBackOnce, 1>;
int ComesBackOnce::made = 0;
int ComesBackOnce::destroyed = 0;
ComesBackOnce::~ComesBackOnce() {
    if (++destroyed == 1) {
        EXPECT_EQ(ComesBackOnceInstance::peekInstance(), nullptr);
        ComesBackOnceInstance::getInstance();
    }
}

TEST(ThreadLocalLinux, AnInstanceMadeWhileTheThreadEndsIsDestroyedAsWell) {
    ComesBackOnce::made = 0;
    ComesBackOnce::destroyed = 0;
    onAnotherThread([] { ComesBackOnceInstance::getInstance(); });
    EXPECT_EQ(ComesBackOnce::made, 2);
    EXPECT_EQ(ComesBackOnce::destroyed, 2);
}

struct FailsFirst {
    FailsFirst() {
        if (std::exchange(failing, false)) {
            throw std::runtime_error("not yet");
        }
    }
    static bool failing;
};
bool FailsFirst::failing = false;

TEST(ThreadLocalLinux, AConstructorThatThrowsLeavesNoInstanceAndMayBeTriedAgain) {
    using Instance = ThreadLocalLinux<FailsFirst, 1>;
    FailsFirst::failing = true;
    EXPECT_THROW(Instance::getInstance(), std::runtime_error);
    EXPECT_EQ(Instance::peekInstance(), nullptr);
    EXPECT_NE(Instance::getInstance(), nullptr);
    Instance::resetInstance();
}

TEST(ThreadLocalLinux, TheConstructorRunsOnTheCallingThread) {
    struct Owned {
        std::thread::id owner = std::this_thread::get_id();
    };
    onAnotherThread([] {
        EXPECT_EQ((ThreadLocalLinux<Owned, 1>::getInstance()->owner), std::this_thread::get_id());
    });
}

TEST(ThreadLocalLinux, ThreadsMayRaceForTheFirstUseOfAClass) {
    struct Contended {
        std::thread::id owner = std::this_thread::get_id();
    };
    std::promise<void> go;
    const std::shared_future<void> started = go.get_future().share();
    std::atomic<int> right{0};
    std::vector<std::thread> threads;
    threads.reserve(8);
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([started, &right] {
            started.wait();
            if (ThreadLocalLinux<Contended, 1>::getInstance()->owner ==
                std::this_thread::get_id()) {
                ++right;
            }
        });
    }
    go.set_value();
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(right, 8);
}

}  // namespace
