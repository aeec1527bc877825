#include "monitorFixture.h"

#include <pthread.h>

#include <cerrno>
#include <memory>
#include <set>
#include <system_error>
#include <thread>

namespace {

thread_local bool locksFail = false;

}  // namespace

// Visible, because a sanitizer's library locks mutexes, too.
#pragma GCC visibility push(default)

extern "C" {

// The linker turns calls of pthread_mutex_lock to __wrap_ and its name, and __real_ and its name to
// the C library's.
int __real_pthread_mutex_lock(pthread_mutex_t* mutex);
int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex) {
    return locksFail ? EINVAL : __real_pthread_mutex_lock(mutex);
}

}  // extern "C"

#pragma GCC visibility pop

namespace {

namespace FakeItc = QuoriaTest::FakeItc;

using Quoria::ItcMailboxMonitor::V1::ItcMailboxMonitorIf;
using QuoriaTest::kOtherPeer;
using QuoriaTest::kPeer;
using testing::ElementsAre;
using testing::IsEmpty;

class MonitorRegistration : public QuoriaTest::MonitorFixture {};

TEST_F(MonitorRegistration, AThreadHasOneMonitor) {
    ItcMailboxMonitorIf& first = ItcMailboxMonitorIf::getInstance();

    EXPECT_EQ(&ItcMailboxMonitorIf::getInstance(), &first);
    EXPECT_EQ(&Monitor::getInstance(), &first);
}

TEST_F(MonitorRegistration, EveryThreadHasItsOwn) {
    ItcMailboxMonitorIf& own = ItcMailboxMonitorIf::getInstance();

    std::thread([&own] { EXPECT_NE(&ItcMailboxMonitorIf::getInstance(), &own); }).join();
}

// CTest gives it a process of its own; run together with others, it comes too late.
TEST_F(MonitorRegistration, TheFirstHandleOfTheProcessIsOne) {
    EXPECT_EQ(watch(kPeer), 1U);
    EXPECT_EQ(watch(kPeer), 2U);
}

TEST_F(MonitorRegistration, TheFirstUserOfAMailboxHandsItcAnIndicationOfFourBytes) {
    watch(kPeer);

    EXPECT_THAT(FakeItc::takeCalls(),
                ElementsAre("itc_alloc(4, 0x1707091)", "itc_monitor(0x11, 0x1707091)"));
}

TEST_F(MonitorRegistration, FurtherUsersOfTheMailboxShareItsItcMonitor) {
    watch(kPeer);
    FakeItc::takeCalls();

    watch(kPeer);
    watch(kPeer);

    EXPECT_THAT(FakeItc::takeCalls(), IsEmpty());
}

TEST_F(MonitorRegistration, EachMailboxHasAnItcMonitorOfItsOwn) {
    watch(kPeer);
    watch(kOtherPeer);

    EXPECT_THAT(FakeItc::takeCallsOf("itc_monitor"),
                ElementsAre("itc_monitor(0x11, 0x1707091)", "itc_monitor(0x12, 0x1707091)"));
}

TEST_F(MonitorRegistration, TheItcMonitorEndsWithTheLastUserOfTheMailbox) {
    const unsigned int first = watch(kPeer);
    const unsigned int second = watch(kPeer);
    FakeItc::takeCalls();

    EXPECT_TRUE(monitor().unmonitor(first));
    EXPECT_THAT(FakeItc::takeCalls(), IsEmpty());

    EXPECT_TRUE(monitor().unmonitor(second));
    EXPECT_THAT(FakeItc::takeCalls(), ElementsAre("itc_unmonitor(101)"));
}

TEST_F(MonitorRegistration, TheItcMonitorOfAnotherMailboxStays) {
    watch(kPeer);
    const unsigned int other = watch(kOtherPeer);

    monitor().unmonitor(other);

    EXPECT_THAT(FakeItc::takeCallsOf("itc_unmonitor"), ElementsAre("itc_unmonitor(102)"));
}

TEST_F(MonitorRegistration, AMailboxThatWasUnmonitoredCanBeMonitoredAgain) {
    monitor().unmonitor(watch(kPeer));
    FakeItc::takeCalls();

    watch(kPeer);
    endMailbox(kPeer);

    EXPECT_THAT(told_, ElementsAre(kPeer));
}

TEST_F(MonitorRegistration, AnUnknownHandleIsNotUnmonitored) {
    const unsigned int handle = watch(kPeer);
    FakeItc::takeCalls();

    EXPECT_FALSE(monitor().unmonitor(handle + 1));
    EXPECT_FALSE(monitor().unmonitor(0));

    EXPECT_THAT(FakeItc::takeCalls(), IsEmpty());
}

TEST_F(MonitorRegistration, AHandleEndsOnce) {
    const unsigned int handle = watch(kPeer);

    EXPECT_TRUE(monitor().unmonitor(handle));
    EXPECT_FALSE(monitor().unmonitor(handle));
}

TEST_F(MonitorRegistration, AHandleOfAnotherThreadIsUnknown) {
    const unsigned int handle = watch(kPeer);

    std::thread([handle] { EXPECT_FALSE(monitor().unmonitor(handle)); }).join();

    EXPECT_TRUE(monitor().unmonitor(handle));
}

TEST_F(MonitorRegistration, HandlesOfDifferentThreadsNeverCoincide) {
    constexpr std::size_t each = 1000;
    const auto register1000 = [](std::vector<unsigned int>& handles) {
        for (std::size_t i = 0; i < each; ++i) {
            handles.push_back(monitor().monitor(kPeer, [](unsigned int) {}));
        }
    };
    std::vector<unsigned int> here;
    std::vector<unsigned int> there;

    std::thread thread([&register1000, &there] { register1000(there); });
    register1000(here);
    thread.join();

    std::set<unsigned int> all(here.begin(), here.end());
    all.insert(there.begin(), there.end());
    EXPECT_EQ(all.size(), 2 * each);
}

TEST_F(MonitorRegistration, AHandleThatCannotBeCountedIsAnErrorAndRegistersNothing) {
    const auto owned = std::make_shared<int>();
    const std::function<void(unsigned int)> callback = [owned](unsigned int) {};
    Monitor& own = monitor();
    const unsigned int before = watch(kOtherPeer);
    FakeItc::takeCalls();

    locksFail = true;
    EXPECT_THROW(own.monitor(kPeer, callback), std::system_error);
    locksFail = false;

    EXPECT_THAT(FakeItc::takeCalls(), IsEmpty());
    EXPECT_EQ(owned.use_count(), 2);
    EXPECT_EQ(watch(kPeer), before + 1);
}

}  // namespace
