#include <quoria/activeObject/activeObjectIf.h>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <quoriaTest/noNewThreads.h>
#include <quoriaTest/traceCapture.h>
#include <sched.h>
#include <stdlib.h>
#include <sys/eventfd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "activeObjectFixture.h"
#include "activeObjectThread.h"
#include "osFaults.h"

namespace {

using Quoria::ActiveObject::Backend::ActiveObjectThread;
using QuoriaTest::TraceCapture;

class ActiveObject : public ActiveObjectFixture {
protected:
    static int policyOfThisThread() {
        const int policy = sched_getscheduler(0);
        EXPECT_NE(policy, -1);
        return policy;
    }
};

TEST_F(ActiveObject, PostedFunctionsRunOnAThreadOfItsOwn) {
    const auto object = create();
    std::thread::id first;
    std::thread::id second;
    call(*object, [&] { first = std::this_thread::get_id(); });
    call(*object, [&] { second = std::this_thread::get_id(); });
    EXPECT_NE(first, std::this_thread::get_id());
    EXPECT_EQ(first, second);
}

TEST_F(ActiveObject, TheThreadCarriesTheNameOfTheActiveObject) {
    const auto object = ActiveObjectIf::create("worker", {}, Policy{});
    call(*object, [] { EXPECT_EQ(nameOfThisThread(), "worker"); });
}

TEST_F(ActiveObject, WithoutANameTheThreadIsCalledActiveObject) {
    const auto object = ActiveObjectIf::create(noting("start"), Policy{});
    call(*object, [] { EXPECT_EQ(nameOfThisThread(), "ActiveObject"); });
    EXPECT_EQ(notes(), Notes{"start"});
}

TEST_F(ActiveObject, WithoutANameThePolicyIsAppliedAllTheSame) {
    OsFaults::answerSetSchedParam(0);
    const auto object = ActiveObjectIf::create(noting("start"), Policy{Policy::FIFO});
    finish(*object);
    ASSERT_EQ(OsFaults::setSchedParamCalls().size(), 1U);
    EXPECT_EQ(OsFaults::setSchedParamCalls()[0].policy, SCHED_FIFO);
}

TEST_F(ActiveObject, ALongNameIsCutToFifteenBytes) {
    const auto object = ActiveObjectIf::create("abcdefghijklmnopqrst", {}, Policy{});
    call(*object, [] { EXPECT_EQ(nameOfThisThread(), "abcdefghijklmno"); });
}

TEST_F(ActiveObject, AThreadThatCannotBeNamedWorksAllTheSame) {
    const TraceCapture trace({"ERROR", "INFO"});
    OsFaults::failSetName(ERANGE);
    const auto object = create(noting("start"));
    finish(*object);
    EXPECT_EQ(notes(), Notes{"start"});
    EXPECT_TRUE(trace.events().empty());
}

TEST_F(ActiveObject, TheStartFunctionIsNamedAndRunsOnTheNewThreadBeforePostedFunctions) {
    std::thread::id starter;
    const auto object = create([&] {
        starter = std::this_thread::get_id();
        EXPECT_EQ(nameOfThisThread(), "test");
        note("start");
    });
    call(*object, [&] {
        EXPECT_EQ(starter, std::this_thread::get_id());
        note("posted");
    });
    EXPECT_EQ(notes(), (Notes{"start", "posted"}));
}

TEST_F(ActiveObject, CreateDoesNotWaitForTheStartFunction) {
    const Gate gate;
    const auto object = create([gate] { gate.pass(); });
    ASSERT_NE(object, nullptr);
    gate.open();
}

TEST_F(ActiveObject, WithoutAStartFunctionPostedFunctionsRun) {
    const auto object = create(std::function<void()>());
    call(*object, noting("posted"));
    EXPECT_EQ(notes(), Notes{"posted"});
}

TEST_F(ActiveObject, FunctionsPostedBeforeTheThreadWatchesItsDescriptorRunAfterTheStartFunction) {
    const int fd = eventfd(0, EFD_SEMAPHORE | EFD_CLOEXEC);
    OsFaults::answerEventFd(fd);
    const Gate posted;
    OsFaults::whenHeldThreadIsNamed([fd, posted] {
        EventLoopIf* const loop = EventLoopIf::getInstance();
        ASSERT_EQ(loop->addFdHandler(fd, EventLoopIf::EVENT_IN, [](int, unsigned int) {}),
                  EventLoopIf::OK);
        ASSERT_EQ(loop->removeFdHandler(fd), EventLoopIf::OK);
        posted.pass();
    });
    const auto object = ActiveObjectIf::create(OsFaults::kHeldThread, noting("start"), Policy{});
    object->executeFunction(noting("1"));
    object->executeFunction(noting("2"));
    object->executeFunction(noting("3"));
    posted.open();
    finish(*object);
    EXPECT_EQ(notes(), (Notes{"start", "1", "2", "3"}));
}

TEST_F(ActiveObject, FunctionsPostedDuringTheStartFunctionRunAfterIt) {
    const Gate gate;
    const auto object = create([this, gate] {
        gate.pass();
        note("start");
    });
    object->executeFunction(noting("1"));
    object->executeFunction(noting("2"));
    object->executeFunction(noting("3"));
    gate.open();
    finish(*object);
    EXPECT_EQ(notes(), (Notes{"start", "1", "2", "3"}));
}

TEST_F(ActiveObject, TheStartFunctionMayUseTheLoopOfItsThread) {
    const int bell = newDescriptor();
    const Gate called;
    const auto object = create([=] {
        EventLoopIf* const loop = EventLoopIf::getInstance();
        loop->addFdHandler(bell, EventLoopIf::EVENT_IN, [=](int, unsigned int) {
            loop->removeFdHandler(bell);
            called.open();
        });
    });
    ASSERT_EQ(eventfd_write(bell, 1), 0);
    called.pass();
}

TEST_F(ActiveObject, AFunctionPostedByAFunctionRunsOnALaterWakeUp) {
    const auto object = create();
    object->executeFunction([&] {
        note("first begins");
        object->executeFunction(noting("second"));
        EventLoopIf::getInstance()->scheduleEvent(noting("deferred"));
        note("first ends");
    });
    finish(*object);
    finish(*object);
    EXPECT_EQ(notes(), (Notes{"first begins", "first ends", "deferred", "second"}));
}

TEST_F(ActiveObject, EachWakeUpRunsOneFunction) {
    const Gate gate;
    const auto object = create([gate] { gate.pass(); });
    for (const std::string name : {"1", "2", "3"}) {
        object->executeFunction([this, name] {
            note(name);
            EventLoopIf::getInstance()->scheduleEvent(noting("after " + name));
        });
    }
    gate.open();
    finish(*object);
    EXPECT_EQ(notes(), (Notes{"1", "after 1", "2", "after 2", "3", "after 3"}));
}

TEST_F(ActiveObject, AnEmptyFunctionIsSkipped) {
    const auto object = create();
    object->executeFunction({});
    object->executeFunction(noting("next"));
    finish(*object);
    EXPECT_EQ(notes(), Notes{"next"});
}

TEST_F(ActiveObject, TheQueueHoldsACopy) {
    const Gate gate;
    const auto object = create([gate] { gate.pass(); });
    std::function<void()> function = noting("copy");
    object->executeFunction(function);
    function = nullptr;
    gate.open();
    finish(*object);
    EXPECT_EQ(notes(), Notes{"copy"});
}

TEST_F(ActiveObject, ManyFunctionsOfManyPostersRunInTheOrderOfEachPoster) {
    constexpr std::size_t kPosters = 4;
    constexpr int kFunctions = 500;
    const auto object = create();
    std::vector<int> next(kPosters, 0);  // touched on the active object's thread only
    std::vector<std::thread> posters;
    posters.reserve(kPosters);
    for (std::size_t poster = 0; poster < kPosters; ++poster) {
        posters.emplace_back([&next, poster, object] {
            for (int i = 0; i < kFunctions; ++i) {
                object->executeFunction([&next, poster, i] { EXPECT_EQ(next[poster]++, i); });
            }
        });
    }
    for (std::thread& poster : posters) {
        poster.join();
    }
    finish(*object);
    EXPECT_EQ(next, std::vector<int>(kPosters, kFunctions));
}

TEST_F(ActiveObject, ALongQueueRunsInOrder) {
    constexpr int kFunctions = 20000;
    const Gate gate;
    const auto object = create([gate] { gate.pass(); });
    int next = 0;
    for (int i = 0; i < kFunctions; ++i) {
        object->executeFunction([&next, i] { EXPECT_EQ(next++, i); });
    }
    gate.open();
    finish(*object);
    EXPECT_EQ(next, kFunctions);
}

TEST_F(ActiveObject, TheWakeUpDescriptorCountsInSemaphoreModeAndClosesOnExec) {
    const auto object = create();
    ASSERT_EQ(OsFaults::eventFdCalls().size(), 1U);
    EXPECT_EQ(OsFaults::eventFdCalls()[0].initialValue, 0U);
    EXPECT_EQ(OsFaults::eventFdCalls()[0].flags, EFD_SEMAPHORE | EFD_CLOEXEC);
}

TEST_F(ActiveObject, WithoutAWakeUpDescriptorThereIsNoActiveObjectAndNoThread) {
    const TraceCapture trace;
    OsFaults::failEventFd(EMFILE);
    EXPECT_EQ(create(noting("start")), nullptr);
    EXPECT_EQ(trace.messages("INFO"), Notes{"ABN: eventfd failed: Too many open files (24)"});
    EXPECT_EQ(trace.messages("TRACE1").size(), 1U);  // created, but never terminating
    EXPECT_TRUE(trace.messages("ERROR").empty());
    EXPECT_TRUE(notes().empty());
}

TEST_F(ActiveObject, WithoutAThreadCreateThrowsAndKeepsNoDescriptor) {
    const TraceCapture trace;
    const int fd = eventfd(0, EFD_SEMAPHORE | EFD_CLOEXEC);
    OsFaults::answerEventFd(fd);
    {
        const QuoriaTest::NoNewThreads none;
        EXPECT_THROW(create(noting("start")), std::system_error);
    }
    EXPECT_EQ(fcntl(fd, F_GETFD), -1);
    EXPECT_EQ(trace.events().size(), 1U);  // created, but never terminating
    EXPECT_TRUE(notes().empty());
}

TEST_F(ActiveObject, AfterAFailedCreateTheNextOneMaySucceed) {
    {
        const QuoriaTest::NoNewThreads none;
        EXPECT_THROW(create(), std::system_error);
    }
    const auto object = create(noting("start"));
    finish(*object);
    EXPECT_EQ(notes(), Notes{"start"});
}

TEST_F(ActiveObject, TheDefaultPolicyLeavesTheSchedulingAlone) {
    const auto object = create();
    finish(*object);
    EXPECT_TRUE(OsFaults::setSchedParamCalls().empty());
}

TEST_F(ActiveObject, AnUnknownPolicyIsAsTheDefault) {
    const auto object = ActiveObjectIf::create("test", {}, Policy{static_cast<Policy::Policy>(2)});
    finish(*object);
    EXPECT_TRUE(OsFaults::setSchedParamCalls().empty());
}

TEST_F(ActiveObject, FifoIsAppliedOnTheNewThreadWithItsPriorityBeforeTheStartFunction) {
    OsFaults::reportPriority(7);
    OsFaults::answerSetSchedParam(0);
    const auto object = ActiveObjectIf::create(
        "test",
        [] {
            const auto& calls = OsFaults::setSchedParamCalls();
            ASSERT_EQ(calls.size(), 1U);
            EXPECT_TRUE(pthread_equal(calls[0].thread, pthread_self()));
            EXPECT_EQ(calls[0].policy, SCHED_FIFO);
            EXPECT_EQ(calls[0].priority, 7);
        },
        Policy{Policy::FIFO});
    finish(*object);
    EXPECT_EQ(OsFaults::setSchedParamCalls().size(), 1U);
}

TEST_F(ActiveObject, FifoThatTheSystemRefusesIsIgnored) {
    const TraceCapture trace({"ERROR", "INFO"});
    const auto object = ActiveObjectIf::create("test", noting("start"), Policy{Policy::FIFO});
    // The creator's ordinary policy has priority 0, which is none for SCHED_FIFO.
    call(*object, [] { EXPECT_EQ(policyOfThisThread(), SCHED_OTHER); });
    EXPECT_EQ(notes(), Notes{"start"});
    EXPECT_TRUE(trace.events().empty());
}

TEST_F(ActiveObject, AThreadThatCannotReadItsPriorityWorksAllTheSame) {
    const TraceCapture trace({"ERROR", "INFO"});
    OsFaults::failGetSchedParam(ESRCH);
    OsFaults::answerSetSchedParam(EPERM);
    const auto object = ActiveObjectIf::create("test", noting("start"), Policy{Policy::FIFO});
    finish(*object);
    EXPECT_EQ(notes(), Notes{"start"});
    EXPECT_TRUE(trace.events().empty());
}

TEST_F(ActiveObject, PoliciesHaveTheirNumbers) {
    EXPECT_EQ(Policy::DEFAULT, 0U);
    EXPECT_EQ(Policy::FIFO, 1U);
    EXPECT_EQ(Policy{}.policy, Policy::DEFAULT);
    EXPECT_EQ(sizeof(Policy), 4U);
}

class ActiveObjectDeathTest : public ActiveObjectFixture {
protected:
    ActiveObjectDeathTest() { testing::FLAGS_gtest_death_test_style = "threadsafe"; }

    // What a process that dies leaves behind would stay.
    static void removeTestDomain() {
        std::error_code ignored;  // the directory serves nobody in these tests
        std::filesystem::remove_all(getenv("ITC_DOMAIN"), ignored);
    }
};

TEST_F(ActiveObjectDeathTest, AnExceptionOfAPostedFunctionEndsTheProcess) {
    const auto die = [] {
        removeTestDomain();
        const auto object = create();
        call(*object, [] { throw std::runtime_error("from a posted function"); });
    };
    EXPECT_EXIT(die(), testing::KilledBySignal(SIGABRT), "from a posted function");
}

TEST_F(ActiveObjectDeathTest, AnExceptionOfTheStartFunctionEndsTheProcess) {
    const auto die = [] {
        removeTestDomain();
        const auto object = create([] { throw std::runtime_error("from a start function"); });
        finish(*object);
    };
    EXPECT_EXIT(die(), testing::KilledBySignal(SIGABRT), "from a start function");
}

TEST_F(ActiveObjectDeathTest, AThreadThatIsStartedTwiceEndsTheProcess) {
    const auto die = [] {
        removeTestDomain();
        ActiveObjectThread thread("test");
        thread.start(false, {});
        thread.start(false, {});
    };
    EXPECT_EXIT(die(), testing::KilledBySignal(SIGABRT), "terminate called without");
}

}  // namespace
