#include <quoria/eventLoop/eventLoopIf.h>

#include <gtest/gtest.h>
#include <sys/epoll.h>

#include <functional>

#include "eventLoopFixture.h"

namespace {

using Log = std::vector<std::string>;

using EventLoopReentrancy = EventLoopFixture;

TEST_F(EventLoopReentrancy, AHandlerThatRemovesItselfIsReleasedWhenTheNextIterationBegins) {
    Captured captured;
    add(a, [this, &captured, held = captured.release()](int fd, unsigned int) {
        EXPECT_EQ(loop.removeFdHandler(fd), EventLoopIf::OK);
        EXPECT_EQ(loop.removeFdHandler(fd), EventLoopIf::NOT_FOUND);
        EXPECT_EQ(*held, 1);
        loop.scheduleEvent([&captured] { EXPECT_TRUE(captured.alive()); });
    });
    add(b, [&captured](int, unsigned int) { EXPECT_TRUE(captured.alive()); });
    os->onWait = [&captured](std::size_t wait) { EXPECT_EQ(captured.alive(), wait == 1); };
    os->deliver({{a.fd(), EPOLLIN}, {b.fd(), EPOLLIN}});
    EXPECT_EQ(runScript(), EventLoopIf::OK);
    EXPECT_FALSE(captured.alive());
}

TEST_F(EventLoopReentrancy, TheLastHandlerThatRemovesItselfIsReleasedByALaterRun) {
    Captured captured;
    add(a, [this, held = captured.release()](int fd, unsigned int) { loop.removeFdHandler(fd); });
    os->deliver({{a.fd(), EPOLLIN}});
    EXPECT_EQ(loop.run(), EventLoopIf::OK);
    EXPECT_TRUE(captured.alive());
    EXPECT_EQ(loop.run(), EventLoopIf::OK);
    EXPECT_TRUE(captured.alive());  // there was no iteration
    add(b, note("b"));
    EXPECT_EQ(runScript(), EventLoopIf::OK);
    EXPECT_FALSE(captured.alive());
}

TEST_F(EventLoopReentrancy, AHandlerRemovedOutsideRunIsReleasedByTheNextIteration) {
    Captured captured;
    add(a, [held = captured.release()](int, unsigned int) {});
    ASSERT_EQ(loop.removeFdHandler(a.fd()), EventLoopIf::OK);
    EXPECT_TRUE(captured.alive());
    add(b, note("b"));
    EXPECT_EQ(runScript(), EventLoopIf::OK);
    EXPECT_FALSE(captured.alive());
}

TEST_F(EventLoopReentrancy, OfSeveralRemovalsInOneIterationOnlyTheFirstIsParked) {
    Captured first;
    Captured second;
    add(b, [held = first.release()](int, unsigned int) {});
    add(a, [&](int, unsigned int) {
        loop.removeFdHandler(b.fd());
        add(b, [held = second.release()](int, unsigned int) {});
        EXPECT_TRUE(second.alive());
        loop.removeFdHandler(b.fd());
        EXPECT_TRUE(first.alive());
        EXPECT_FALSE(second.alive());
    });
    os->deliver({{a.fd(), EPOLLIN}, {b.fd(), EPOLLIN}});
    EXPECT_EQ(runScript(), EventLoopIf::OK);
    EXPECT_FALSE(first.alive());
}

TEST_F(EventLoopReentrancy, AHandlerMayRemoveAddAndRemoveItselfInItsOwnCall) {
    Captured captured;
    add(a, [this, held = captured.release()](int fd, unsigned int) {
        EXPECT_EQ(loop.removeFdHandler(fd), EventLoopIf::OK);
        add(a, note("never"));
        EXPECT_EQ(loop.removeFdHandler(fd), EventLoopIf::OK);
        log.push_back(*held == 1 ? "intact" : "broken");
    });
    os->deliver({{a.fd(), EPOLLIN}});
    EXPECT_EQ(loop.run(), EventLoopIf::OK);
    EXPECT_EQ(log, Log{"intact"});
}

// The new handler of a descriptor runs while the old one's record is parked, and it runs the loop,
// so that the parked ones go while both are on the stack.
TEST_F(EventLoopReentrancy, HandlersOnTheStackOutliveTheirRemovalAndInnerRuns) {
    Captured outer;
    Captured inner;
    add(b, note("b"));
    add(a, [&, held = outer.release()](int, unsigned int) {
        loop.removeFdHandler(a.fd());
        add(a, [&, innerHeld = inner.release()](int, unsigned int) {
            loop.removeFdHandler(a.fd());
            add(a, note("never"));
            loop.removeFdHandler(a.fd());
            os->deliver({{b.fd(), EPOLLIN}});
            os->interrupt([this] { loop.stop(); });
            EXPECT_EQ(loop.run(), EventLoopIf::OK);
            EXPECT_EQ(*innerHeld, 1);
            EXPECT_TRUE(inner.alive());
        });
        os->deliver({{a.fd(), EPOLLIN}});
        EXPECT_EQ(loop.run(), EventLoopIf::OK);
        EXPECT_EQ(*held, 1);
        EXPECT_TRUE(outer.alive());
        EXPECT_FALSE(inner.alive());
    });
    os->deliver({{a.fd(), EPOLLIN}});
    EXPECT_EQ(loop.run(), EventLoopIf::OK);
    EXPECT_EQ(log, Log{"b"});
    EXPECT_FALSE(outer.alive());
}

TEST_F(EventLoopReentrancy, AnInnerRunMayRemoveAHandlerWhoseEventTheOuterOneHasFetched) {
    Captured captured;
    add(b, [this, held = captured.release()](int, unsigned int) { log.push_back("b"); });
    add(c, [this](int, unsigned int) { loop.removeFdHandler(b.fd()); });
    add(a, [this](int, unsigned int) {
        os->deliver({{c.fd(), EPOLLIN}});
        os->interrupt([] {});
        os->interrupt([this] { loop.stop(); });
        EXPECT_EQ(loop.run(), EventLoopIf::OK);
        log.push_back("a");
    });
    os->deliver({{a.fd(), EPOLLIN}, {b.fd(), EPOLLIN}});
    EXPECT_EQ(loop.run(), EventLoopIf::OK);
    EXPECT_EQ(log, Log{"a"});
    EXPECT_FALSE(captured.alive());
}

TEST_F(EventLoopReentrancy, StopInAnInnerRunEndsTheOuterOneToo) {
    add(b, [this](int, unsigned int) {
        log.push_back("b");
        loop.stop();
    });
    add(a, [this](int, unsigned int) {
        os->deliver({{b.fd(), EPOLLIN}});
        EXPECT_EQ(loop.run(), EventLoopIf::OK);
        log.push_back("a");
    });
    os->deliver({{a.fd(), EPOLLIN}});
    EXPECT_EQ(loop.run(), EventLoopIf::OK);
    EXPECT_EQ(log, (Log{"b", "a"}));
    EXPECT_EQ(os->waitCalls.size(), 2U);
}

TEST_F(EventLoopReentrancy, WhatAReleasedHandlerHasCapturedMayUseTheLoop) {
    Captured removedLater;
    Captured captured([this] {
        EXPECT_EQ(EventLoopIf::getInstance(), &loop);
        EXPECT_EQ(loop.removeFdHandler(b.fd()), EventLoopIf::OK);
        loop.scheduleEvent(noteDeferred("deferred"));
    });
    add(a, [held = captured.release()](int, unsigned int) {});
    add(b, [held = removedLater.release()](int, unsigned int) {});
    add(c, note("c"));
    loop.removeFdHandler(a.fd());
    os->deliver({{c.fd(), EPOLLIN}});
    EXPECT_EQ(runScript(), EventLoopIf::OK);
    EXPECT_EQ(log, (Log{"c", "deferred"}));
    EXPECT_FALSE(removedLater.alive());
}

TEST_F(EventLoopReentrancy, AHandlerReplacedAsTheIterationBeginsMayRemoveItselfInItsFirstCall) {
    Captured fresh;
    Captured captured([&] {
        loop.removeFdHandler(b.fd());
        add(b, [&, held = fresh.release()](int fd, unsigned int) {
            loop.removeFdHandler(fd);
            EXPECT_EQ(*held, 1);
            EXPECT_TRUE(fresh.alive());
            log.push_back("new b");
        });
    });
    add(a, [held = captured.release()](int, unsigned int) {});
    add(b, note("old b"));
    add(c, note("c"));
    loop.removeFdHandler(a.fd());
    os->deliver({{b.fd(), EPOLLIN}, {c.fd(), EPOLLIN}});
    EXPECT_EQ(runScript(), EventLoopIf::OK);
    EXPECT_EQ(log, (Log{"new b", "c"}));
}

TEST_F(EventLoopReentrancy, TheLoopEndsIfWhatIsReleasedRemovesTheLastHandler) {
    Captured captured([this] { loop.removeFdHandler(b.fd()); });
    add(a, [held = captured.release()](int, unsigned int) {});
    add(b, note("b"));
    loop.removeFdHandler(a.fd());
    EXPECT_EQ(loop.run(), EventLoopIf::OK);
    EXPECT_TRUE(os->waitCalls.empty());
}

// A handler that calls `onCopy` when it is copied, as what a callback has captured may.
class NotesItsCopy {
public:
    explicit NotesItsCopy(const std::function<void()>& onCopy) : onCopy_(&onCopy) {}
    NotesItsCopy(const NotesItsCopy& other) : onCopy_(other.onCopy_) {
        if (*onCopy_) {
            (*onCopy_)();
        }
    }
    void operator()(int, unsigned int) const {}

private:
    const std::function<void()>* onCopy_;
};

TEST_F(EventLoopReentrancy, AHandlerThatIsAddedWhileAnotherOneIsCopiedStays) {
    std::function<void()> onCopy;
    const std::function<void(int, unsigned int)> late = NotesItsCopy(onCopy);
    onCopy = [&] {
        onCopy = nullptr;
        add(a, note("early"));
    };
    EXPECT_EQ(loop.addFdHandler(a.fd(), IN, late), EventLoopIf::ALREADY_EXISTS);
    os->deliver({{a.fd(), EPOLLIN}});
    EXPECT_EQ(runScript(), EventLoopIf::OK);
    EXPECT_EQ(log, Log{"early"});
}

}  // namespace
