#include <quoria/activeObject/activeObjectIf.h>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <quoriaTest/traceCapture.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include "activeObjectFixture.h"
#include "nthCall.h"
#include "osFaults.h"

namespace {

using QuoriaTest::TraceCapture;

using ActiveObjectDestruction = ActiveObjectFixture;

TEST_F(ActiveObjectDestruction, ReleasingWaitsUntilEverythingPostedBeforeHasRun) {
    const Gate gate;
    auto object = create();
    object->executeFunction([this, gate] {
        gate.pass();
        note("1");
    });
    object->executeFunction(noting("2"));
    object->executeFunction(noting("3"));
    std::thread releaser([this, held = std::exchange(object, nullptr)]() mutable {
        held.reset();
        note("released");
    });
    gate.open();
    releaser.join();
    EXPECT_EQ(notes(), (Notes{"1", "2", "3", "released"}));
}

TEST_F(ActiveObjectDestruction, WhenReleasingReturnsTheThreadHasEndedAndItsLoopIsGone) {
    const Gate ended;
    auto object = create([this, ended] { openWhenThisThreadEnds(ended); });
    object.reset();
    ended.pass();
}

TEST_F(ActiveObjectDestruction, ReleasingEndsALoopThatWatchesOtherDescriptors) {
    const int bell = newDescriptor();
    auto object = create([bell] {
        EventLoopIf::getInstance()->addFdHandler(bell, EventLoopIf::EVENT_IN,
                                                 [](int, unsigned int) {});
    });
    object.reset();
}

TEST_F(ActiveObjectDestruction, ReleasingClosesTheWakeUpDescriptor) {
    const int fd = eventfd(0, EFD_SEMAPHORE | EFD_CLOEXEC);
    OsFaults::answerEventFd(fd);
    auto object = create();
    EXPECT_NE(fcntl(fd, F_GETFD), -1);
    object.reset();
    EXPECT_EQ(fcntl(fd, F_GETFD), -1);
}

TEST_F(ActiveObjectDestruction,
       ReleasingInAFunctionOfItsOwnLetsThatFunctionFinishAndEndsTheThread) {
    const Gate ended;
    auto object = create([this, ended] { openWhenThisThreadEnds(ended); });
    post(*object, [&] {
        object.reset();
        note("released");
    });
    ended.pass();
    EXPECT_EQ(notes(), Notes{"released"});
}

TEST_F(ActiveObjectDestruction, ReleasingInAFunctionOfItsOwnClosesTheWakeUpDescriptor) {
    const int fd = eventfd(0, EFD_SEMAPHORE | EFD_CLOEXEC);
    OsFaults::answerEventFd(fd);
    const Gate ended;
    auto object = create([this, ended] { openWhenThisThreadEnds(ended); });
    post(*object, [&] {
        object.reset();
        EXPECT_EQ(fcntl(fd, F_GETFD), -1);
    });
    ended.pass();
}

TEST_F(ActiveObjectDestruction, ReleasingInAFunctionOfItsOwnEndsTheWatchBeforeTheDescriptor) {
    const Gate ended;
    auto object = create([this, ended] { openWhenThisThreadEnds(ended); });
    post(*object, [&object] {
        object.reset();
        EXPECT_EQ(NthCall::lastRemoval(), 0);  // a closed one can't be removed
    });
    ended.pass();
}

TEST_F(ActiveObjectDestruction, ReleasingInAFunctionOfItsOwnDropsTheFunctionsBehindIt) {
    const Gate ended;
    const Gate dropped;
    const Gate posted;
    auto object = create([this, ended] { openWhenThisThreadEnds(ended); });
    object->executeFunction([&, posted] {
        posted.pass();
        object.reset();
        dropped.pass();  // destroyed by now, not on the way to be
    });
    object->executeFunction(
        [this, held = std::make_shared<OpensAtEnd>(dropped)] { note("called"); });
    posted.open();
    ended.pass();
    EXPECT_TRUE(notes().empty());
}

TEST_F(ActiveObjectDestruction, TheLastReferenceMayGoWithTheFunctionThatHoldsIt) {
    const Gate ended;
    const Gate handedOver;
    auto object = create([this, ended] { openWhenThisThreadEnds(ended); });
    ActiveObjectIf& poster = *object;
    poster.executeFunction([this, handedOver, held = std::exchange(object, nullptr)] {
        handedOver.pass();
        note("called");
    });
    handedOver.open();
    ended.pass();
    EXPECT_EQ(notes(), Notes{"called"});
}

TEST_F(ActiveObjectDestruction, ReleasingInAFunctionOfItsOwnLetsTheRestOfTheBatchRun) {
    const Gate ended;
    const Gate ready;
    const int bell = newDescriptor();
    auto object = create([=] {
        openWhenThisThreadEnds(ended);
        EventLoopIf::getInstance()->addFdHandler(bell, EventLoopIf::EVENT_IN,
                                                 [=](int, unsigned int) { note("bell"); });
    });
    object->executeFunction([ready] { ready.pass(); });
    post(*object, [&] { object.reset(); });
    // Both descriptors are readable when the first function returns, so one wait fetches both.
    ASSERT_EQ(eventfd_write(bell, 1), 0);
    ready.open();
    ended.pass();
    ASSERT_FALSE(notes().empty());
    EXPECT_EQ(notes().front(), "bell");
}

TEST_F(ActiveObjectDestruction, ReleasingInAnInnerRunIsSafeForTheFunctionAround) {
    const Gate ended;
    auto object = create([this, ended] { openWhenThisThreadEnds(ended); });
    post(*object, [&] {
        object->executeFunction([&] {
            object.reset();
            note("released");
        });
        EXPECT_EQ(EventLoopIf::getInstance()->run(), EventLoopIf::OK);
        note("back");
    });
    ended.pass();
    EXPECT_EQ(notes(), (Notes{"released", "back"}));
}

TEST_F(ActiveObjectDestruction, ReleasingInADeferredFunctionOfItsThreadEndsTheThread) {
    const Gate ended;
    auto object = create([this, ended] { openWhenThisThreadEnds(ended); });
    post(*object, [&] {
        EventLoopIf::getInstance()->scheduleEvent([&] {
            object.reset();
            note("released");
        });
    });
    ended.pass();
    EXPECT_EQ(notes(), Notes{"released"});
}

TEST_F(ActiveObjectDestruction, ReleasingInTheStartFunctionEndsTheThreadBeforeItsLoopWaits) {
    const TraceCapture trace;
    const Gate handedOver;
    const Gate ended;
    std::shared_ptr<ActiveObjectIf> object;
    object = create([&, handedOver, last = std::make_shared<OpensAtEnd>(ended)] {
        handedOver.pass();
        object.reset();
        note("released");
    });
    handedOver.open();
    ended.pass();  // the thread's copy of the start function goes after its body
    EXPECT_EQ(notes(), Notes{"released"});
    EXPECT_TRUE(trace.messages("ERROR").empty());
}

TEST_F(ActiveObjectDestruction, AThreadThatStopsItsOwnLoopRunsNothingPostedLater) {
    const Gate dropped;
    auto object = create();
    object->executeFunction([] { EventLoopIf::getInstance()->stop(); });
    object->executeFunction(
        [this, held = std::make_shared<OpensAtEnd>(dropped)] { note("called"); });
    object.reset();
    dropped.pass();
    EXPECT_TRUE(notes().empty());
}

TEST_F(ActiveObjectDestruction, AThreadThatCannotWatchItsDescriptorRunsNothingAndCanBeReleased) {
    const TraceCapture trace;
    const int fd = open("/dev/null", O_RDWR | O_CLOEXEC);  // which epoll does not take
    OsFaults::answerEventFd(fd);
    const Gate dropped;
    auto object = create(noting("start"));
    ASSERT_NE(object, nullptr);
    object->executeFunction(
        [this, held = std::make_shared<OpensAtEnd>(dropped)] { note("called"); });
    object.reset();
    dropped.pass();
    EXPECT_TRUE(notes().empty());
    EXPECT_EQ(trace.messages("ERROR"),
              (Notes{"epoll_ctl(ADD) failed: Operation not permitted (1)",
                     "Failed to add fd=" + std::to_string(fd) + " to the event loop"}));
}

TEST_F(ActiveObjectDestruction, OneActiveObjectMayReleaseAnother) {
    auto outer = create();
    auto inner = create();
    inner->executeFunction(noting("inner"));
    outer->executeFunction([&] {
        inner.reset();
        note("outer");
    });
    outer.reset();
    EXPECT_EQ(notes(), (Notes{"inner", "outer"}));
}

}  // namespace
