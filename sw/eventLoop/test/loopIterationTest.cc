// What docs/loop_iteration.md says, asserted in the order said there.

#include <quoria/eventLoop/eventLoopIf.h>

#include <gtest/gtest.h>
#include <sys/epoll.h>

#include "eventLoopFixture.h"

namespace {

using Log = std::vector<std::string>;

using LoopIteration = EventLoopFixture;

TEST_F(LoopIteration, TheStepsComeInTheirOrder) {
    Captured captured([this] { log.push_back("release"); });
    os->onWait = [this](std::size_t) { log.push_back("wait"); };
    add(a, [this, held = captured.release()](int fd, unsigned int) {
        log.push_back("a removes itself");
        loop.removeFdHandler(fd);
        loop.scheduleEvent(noteDeferred("a deferred"));
        loop.scheduleEvent([this] {
            log.push_back("a deferred, too");
            loop.scheduleEvent(noteDeferred("deferred in the queue"));
        });
    });
    add(b, [this](int, unsigned int) {
        log.push_back("b");
        loop.scheduleEvent(noteDeferred("b deferred"));
    });
    add(c, [this](int, unsigned int) {
        log.push_back("c stops");
        loop.stop();
    });
    os->deliver({{b.fd(), EPOLLIN}, {a.fd(), EPOLLIN}});
    os->deliver({{c.fd(), EPOLLIN}, {b.fd(), EPOLLIN}});
    EXPECT_EQ(loop.run(), EventLoopIf::OK);
    EXPECT_EQ(log, (Log{"wait",                                               //
                        "b", "b deferred",                                    //
                        "a removes itself", "a deferred", "a deferred, too",  //
                        "deferred in the queue",                              //
                        "release", "wait",                                    //
                        "c stops",                                            //
                        "b", "b deferred"}));
}

TEST_F(LoopIteration, MoreReadyDescriptorsThanThreeComeWithTheNextTurn) {
    Doorbell d;
    for (Doorbell* bell : {&a, &b, &c, &d}) {
        bell->ring();
        add(*bell, [this, bell](int fd, unsigned int) {
            log.push_back(std::to_string(os->waitCalls.size()));
            bell->silence();
            loop.removeFdHandler(fd);
        });
    }
    EXPECT_EQ(loop.run(), EventLoopIf::OK);
    EXPECT_EQ(log, (Log{"1", "1", "1", "2"}));
}

TEST_F(LoopIteration, AnEventThatCallsNobodyLeavesTheDeferredQueueAlone) {
    add(a, note("a"));
    loop.scheduleEvent(noteDeferred("deferred"));
    os->deliver({{a.fd(), EPOLLHUP}});
    EXPECT_EQ(runScript(), EventLoopIf::OK);
    EXPECT_TRUE(log.empty());
    EXPECT_EQ(Peer::queueLength(loop), 1U);
}

TEST_F(LoopIteration, RemovingTheLastHandlerEndsTheLoopAfterTheRestOfTheBatch) {
    add(a, [this](int, unsigned int) {
        log.push_back("a");
        loop.removeFdHandler(a.fd());
    });
    add(b, [this](int, unsigned int) {
        log.push_back("b");
        loop.removeFdHandler(b.fd());
    });
    os->deliver({{a.fd(), EPOLLIN}, {b.fd(), EPOLLIN}});
    EXPECT_EQ(loop.run(), EventLoopIf::OK);
    EXPECT_EQ(log, (Log{"a", "b"}));
    EXPECT_EQ(os->waitCalls.size(), 1U);
}

TEST_F(LoopIteration, AHandlerAddedInAHandlerTakesPartFromTheNextWait) {
    b.ring();
    add(a, [this](int, unsigned int) {
        log.push_back("a");
        EXPECT_EQ(loop.removeFdHandler(a.fd()), EventLoopIf::OK);
        add(b, [this](int, unsigned int) {
            log.push_back("b");
            loop.stop();
        });
    });
    a.ring();
    EXPECT_EQ(loop.run(), EventLoopIf::OK);
    EXPECT_EQ(log, (Log{"a", "b"}));
    EXPECT_EQ(os->waitCalls.size(), 2U);
}

TEST_F(LoopIteration, AnUpdateDropsWhatIsFetchedButNotInTheNewSet) {
    add(a, [this](int, unsigned int) {
        log.push_back("a");
        loop.updateFdEvents(b.fd(), OUT);
    });
    add(b, note("b"));
    os->deliver({{a.fd(), EPOLLIN}, {b.fd(), EPOLLIN}});
    EXPECT_EQ(runScript(), EventLoopIf::OK);
    EXPECT_EQ(log, Log{"a"});
}

TEST_F(LoopIteration, ARemovedHandlerDoesNotGetTheEventThatIsAlreadyFetched) {
    add(a, [this](int, unsigned int) {
        log.push_back("a");
        loop.removeFdHandler(b.fd());
    });
    add(b, note("b"));
    os->deliver({{a.fd(), EPOLLIN}, {b.fd(), EPOLLIN}});
    EXPECT_EQ(runScript(), EventLoopIf::OK);
    EXPECT_EQ(log, Log{"a"});
}

TEST_F(LoopIteration, ADescriptorRemovedAndAddedAgainGetsEventsFromTheNextWait) {
    add(a, [this](int, unsigned int) {
        log.push_back("a");
        loop.removeFdHandler(b.fd());
        add(b, note("new b"));
    });
    add(b, note("old b"));
    os->deliver({{a.fd(), EPOLLIN}, {b.fd(), EPOLLIN}});
    os->deliver({{b.fd(), EPOLLIN}});
    EXPECT_EQ(runScript(), EventLoopIf::OK);
    EXPECT_EQ(log, (Log{"a", "new b"}));
}

TEST_F(LoopIteration, ADeferredFunctionRunsRightAfterTheHandlerThatScheduledIt) {
    add(a, [this](int, unsigned int) {
        loop.scheduleEvent(noteDeferred("deferred"));
        log.push_back("a returns");
    });
    add(b, note("b"));
    os->deliver({{a.fd(), EPOLLIN}, {b.fd(), EPOLLIN}});
    EXPECT_EQ(runScript(), EventLoopIf::OK);
    EXPECT_EQ(log, (Log{"a returns", "deferred", "b"}));
}

TEST_F(LoopIteration, StopInAHandlerStillLetsTheRestOfTheBatchRun) {
    add(a, [this](int, unsigned int) {
        log.push_back("a");
        EXPECT_EQ(loop.stop(), EventLoopIf::OK);
    });
    add(b, note("b"));
    add(c, note("c"));
    os->deliver({{a.fd(), EPOLLIN}, {b.fd(), EPOLLIN}, {c.fd(), EPOLLIN}});
    EXPECT_EQ(loop.run(), EventLoopIf::OK);
    EXPECT_EQ(log, (Log{"a", "b", "c"}));
    EXPECT_EQ(os->waitCalls.size(), 1U);
    EXPECT_FALSE(Peer::running(loop));
}

TEST_F(LoopIteration, RunInAHandlerIsALoopInsideTheLoop) {
    add(a, [this](int, unsigned int) {
        log.push_back("a begins");
        EXPECT_EQ(loop.run(), EventLoopIf::OK);
        log.push_back("a ends");
    });
    add(b, [this](int, unsigned int) {
        log.push_back("b");
        loop.stop();
    });
    add(c, note("c"));
    os->deliver({{a.fd(), EPOLLIN}, {c.fd(), EPOLLIN}});
    os->deliver({{b.fd(), EPOLLIN}});
    EXPECT_EQ(loop.run(), EventLoopIf::OK);
    EXPECT_EQ(log, (Log{"a begins", "b", "a ends", "c"}));
}

}  // namespace
