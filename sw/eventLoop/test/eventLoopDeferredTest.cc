#include <quoria/eventLoop/eventLoopIf.h>

#include <gtest/gtest.h>
#include <sys/epoll.h>

#include <functional>
#include <stdexcept>

#include "eventLoopFixture.h"

namespace {

using Log = std::vector<std::string>;

class EventLoopDeferred : public EventLoopFixture {
protected:
    // Has one handler, `a`, called as often as the test wants.
    EventLoopDeferred() { add(a, note("a")); }

    void defer(const std::string& name) {
        ASSERT_EQ(loop.scheduleEvent(noteDeferred(name)), EventLoopIf::OK);
    }
    void defer(const std::function<void()>& function) {
        ASSERT_EQ(loop.scheduleEvent(function), EventLoopIf::OK);
    }
    // One iteration in which the handler of `a` is called.
    void fire() {
        os->deliver({{a.fd(), EPOLLIN}});
        ASSERT_EQ(runScript(), EventLoopIf::OK);
    }
    void fireAndThrow() {
        os->deliver({{a.fd(), EPOLLIN}});
        EXPECT_THROW(loop.run(), std::runtime_error);
    }
};

TEST_F(EventLoopDeferred, AFunctionRunsOnceAfterTheNextHandler) {
    defer("deferred");
    EXPECT_TRUE(log.empty());
    fire();
    fire();
    EXPECT_EQ(log, (Log{"a", "deferred", "a"}));
}

TEST_F(EventLoopDeferred, FunctionsRunFirstInFirstOut) {
    defer("1");
    defer("2");
    defer("3");
    fire();
    EXPECT_EQ(log, (Log{"a", "1", "2", "3"}));
}

TEST_F(EventLoopDeferred, WhatAFunctionDefersRunsInTheSameDrainBehindTheRest) {
    defer([this] {
        log.push_back("1");
        defer([this] {
            log.push_back("3");
            defer("4");
        });
    });
    defer("2");
    fire();
    EXPECT_EQ(log, (Log{"a", "1", "2", "3", "4"}));
}

TEST_F(EventLoopDeferred, WithoutAHandlerThatFiresAFunctionNeverRuns) {
    defer("deferred");
    os->deliverNothing();
    os->interrupt([] {});
    EXPECT_EQ(runScript(), EventLoopIf::OK);
    EXPECT_TRUE(log.empty());
    EXPECT_EQ(Peer::queueLength(loop), 1U);
}

TEST_F(EventLoopDeferred, WithoutHandlersRunReturnsAndTheFunctionsStayQueued) {
    ASSERT_EQ(loop.removeFdHandler(a.fd()), EventLoopIf::OK);
    defer("deferred");
    EXPECT_EQ(loop.run(), EventLoopIf::OK);
    EXPECT_TRUE(log.empty());
    add(a, note("a"));
    fire();
    EXPECT_EQ(log, (Log{"a", "deferred"}));
}

TEST_F(EventLoopDeferred, StopInAFunctionLetsTheRestOfTheQueueAndOfTheBatchRun) {
    defer([this] { loop.stop(); });
    defer("deferred");
    add(b, note("b"));
    os->deliver({{a.fd(), EPOLLIN}, {b.fd(), EPOLLIN}});
    EXPECT_EQ(loop.run(), EventLoopIf::OK);
    EXPECT_EQ(log, (Log{"a", "deferred", "b"}));
}

TEST_F(EventLoopDeferred, RemovingTheLastHandlerInAFunctionEndsTheLoop) {
    defer([this] { loop.removeFdHandler(a.fd()); });
    os->deliver({{a.fd(), EPOLLIN}});
    EXPECT_EQ(loop.run(), EventLoopIf::OK);
    EXPECT_EQ(os->waitCalls.size(), 1U);
}

TEST_F(EventLoopDeferred, TheQueueHoldsACopy) {
    std::function<void()> function = noteDeferred("copy");
    defer(function);
    function = nullptr;
    fire();
    EXPECT_EQ(log, (Log{"a", "copy"}));
}

TEST_F(EventLoopDeferred, AFunctionIsDestroyedBeforeTheNextOneRuns) {
    Captured captured;
    defer([held = captured.release()] { EXPECT_NE(held, nullptr); });
    defer([&captured] { EXPECT_FALSE(captured.alive()); });
    fire();
    EXPECT_FALSE(captured.alive());
}

TEST_F(EventLoopDeferred, WhatADestroyedFunctionDefersRunsInTheSameDrain) {
    Captured captured([this] { defer("3"); });
    defer([this, held = captured.release()] { log.push_back("1"); });
    defer("2");
    fire();
    EXPECT_EQ(log, (Log{"a", "1", "2", "3"}));
}

// Copying one of these defers another function.
struct DefersWhenCopied {
    explicit DefersWhenCopied(std::function<void()> action) : onCopy(std::move(action)) {}
    DefersWhenCopied(const DefersWhenCopied& other) : onCopy(other.onCopy) {
        if (onCopy) {
            onCopy();
        }
    }
    DefersWhenCopied& operator=(const DefersWhenCopied&) = delete;
    std::function<void()> onCopy;
};

TEST_F(EventLoopDeferred, CopyingAFunctionMayDeferAnother) {
    bool armed = false;
    const DefersWhenCopied copied([this, &armed] {
        if (std::exchange(armed, false)) {
            defer("inner");
        }
    });
    const std::function<void()> outer = [this, copied] { log.push_back("outer"); };
    armed = true;
    defer(outer);
    fire();
    EXPECT_EQ(log, (Log{"a", "inner", "outer"}));
}

TEST_F(EventLoopDeferred, AFunctionThatThrowsIsGoneAndTheRestRunsLaterInOrder) {
    defer("1");
    defer([] { throw std::runtime_error("from a deferred function"); });
    defer("2");
    defer("3");
    fireAndThrow();
    EXPECT_EQ(log, (Log{"a", "1"}));
    defer("4");
    fire();
    EXPECT_EQ(log, (Log{"a", "1", "a", "2", "3", "4"}));
}

TEST_F(EventLoopDeferred, AFunctionThatThrowsReleasesWhatItHasCaptured) {
    Captured captured;
    defer([held = captured.release()] { throw std::runtime_error("from a deferred function"); });
    defer("left");
    fireAndThrow();
    EXPECT_FALSE(captured.alive());
}

TEST_F(EventLoopDeferred, AnEmptyFunctionIsAcceptedAndThrowsInItsTurn) {
    defer("1");
    defer(std::function<void()>());
    defer("2");
    os->deliver({{a.fd(), EPOLLIN}});
    EXPECT_THROW(loop.run(), std::bad_function_call);
    EXPECT_EQ(log, (Log{"a", "1"}));
    fire();
    EXPECT_EQ(log, (Log{"a", "1", "a", "2"}));
}

TEST_F(EventLoopDeferred, AFunctionThatRunsTheLoopDrainsTheRestInside) {
    defer("1");
    defer([this] {
        log.push_back("2 begins");
        defer("5");
        os->deliver({{a.fd(), EPOLLIN}});
        os->interrupt([this] { loop.stop(); });
        EXPECT_EQ(loop.run(), EventLoopIf::OK);
        log.push_back("2 ends");
        defer("6");
    });
    defer("3");
    defer("4");
    os->deliver({{a.fd(), EPOLLIN}});
    EXPECT_EQ(loop.run(), EventLoopIf::OK);
    EXPECT_EQ(log, (Log{"a", "1", "2 begins", "a", "3", "4", "5", "2 ends", "6"}));
}

TEST_F(EventLoopDeferred, WhatIsThrownInAnInnerRunLeavesTheQueueInOrder) {
    defer([this] {
        EXPECT_THROW(loop.run(), std::runtime_error);
        log.push_back("caught");
    });
    defer([] { throw std::runtime_error("from a deferred function"); });
    defer("2");
    defer("3");
    os->deliver({{a.fd(), EPOLLIN}});
    os->deliver({{a.fd(), EPOLLIN}});
    EXPECT_EQ(runScript(), EventLoopIf::OK);
    EXPECT_EQ(log, (Log{"a", "a", "caught", "2", "3"}));
}

TEST_F(EventLoopDeferred, ALongQueueRunsInOrder) {
    constexpr int kFunctions = 100000;
    int next = 0;
    for (int i = 0; i < kFunctions; ++i) {
        defer([&next, i] {
            ASSERT_EQ(next, i);
            ++next;
        });
    }
    fire();
    EXPECT_EQ(next, kFunctions);
    EXPECT_EQ(Peer::queueLength(loop), 0U);
}

TEST_F(EventLoopDeferred, DrainingMovesEachFunctionAtMostOnceOnAverage) {
    constexpr std::size_t kFunctions = 2000;
    std::size_t length = kFunctions;
    std::size_t moved = 0;
    for (std::size_t i = 0; i < kFunctions; ++i) {
        defer([&] {
            const std::size_t now = Peer::queueLength(loop);
            if (now != length) {
                length = now;
                moved += now;  // all that is still stored has moved up
            }
        });
    }
    fire();
    EXPECT_LE(moved, kFunctions);
}

}  // namespace
