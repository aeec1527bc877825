#include "itcMessageSubscriptionImpl.h"

#include <quoria/eventLoop/eventLoopIf.h>
#include <quoriaTest/fakeItc.h>

#include <gtest/gtest.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <stdexcept>
#include <thread>
#include <utility>

namespace {

namespace FakeItc = QuoriaTest::FakeItc;

using Quoria::EventLoop::V1::EventLoopIf;
using Quoria::ItcMessageSubscription::V1::ItcMessageSubscriptionIf;
using Quoria::ItcMessageSubscription::V1::ItcMessageSubscriptionImpl;
using Quoria::ItcMessageSubscription::V1::MsgHandler;

constexpr unsigned int kMsgNo = 0x77;

const MsgHandler kIgnore = [](const std::shared_ptr<itc_msg>&) {};

// Calls a function when the last copy of it goes.
class AtEnd {
public:
    explicit AtEnd(std::function<void()> function) : function_(std::move(function)) {}
    ~AtEnd() { function_(); }
    AtEnd(const AtEnd&) = delete;
    AtEnd& operator=(const AtEnd&) = delete;

private:
    std::function<void()> function_;
};

class HandlerLifetime : public testing::Test {
protected:
    HandlerLifetime() { FakeItc::reset(); }
    ~HandlerLifetime() override { ItcMessageSubscriptionImpl::reset(); }

    // Registers a handler that calls `action` and then checks that it is still alive itself. The
    // returned pointer expires with the handler.
    template <typename Action>
    static std::weak_ptr<int> addHandler(unsigned int msgNo, Action action) {
        auto alive = std::make_shared<int>(5);
        const std::weak_ptr<int> watch = alive;
        subscription().addMsgHandler(
            msgNo, [action, alive = std::move(alive)](const std::shared_ptr<itc_msg>&) {
                action();
                EXPECT_EQ(*alive, 5);
            });
        return watch;
    }

    static void deliver(unsigned int msgNo) {
        FakeItc::queueMessage(msgNo, 2);
        subscription().handleFdEvent();
    }

    static bool isRegistered(unsigned int msgNo) {
        MsgHandler handler;
        return subscription().getMsgHandler(msgNo, handler) == ItcMessageSubscriptionIf::OK;
    }

    static ItcMessageSubscriptionImpl& subscription() {
        return ItcMessageSubscriptionImpl::getInstance();
    }
};

TEST_F(HandlerLifetime, AHandlerMayAddManyOthersWhileItRuns) {
    addHandler(kMsgNo, [] {
        for (unsigned int other = 0x1000; other < 0x2000; ++other) {
            EXPECT_EQ(subscription().addMsgHandler(other, kIgnore), ItcMessageSubscriptionIf::OK);
        }
    });

    deliver(kMsgNo);

    EXPECT_TRUE(isRegistered(0x1FFF));
}

TEST_F(HandlerLifetime, AHandlerMayRemoveOthersWhileItRuns) {
    const std::weak_ptr<int> other = addHandler(kMsgNo + 1, [] {});
    addHandler(kMsgNo, [other] {
        EXPECT_EQ(subscription().removeMsgHandler(kMsgNo + 1), ItcMessageSubscriptionIf::OK);
        EXPECT_TRUE(other.expired()) << "nobody runs it, so it goes at once";
    });

    deliver(kMsgNo);

    EXPECT_FALSE(isRegistered(kMsgNo + 1));
}

TEST_F(HandlerLifetime, AHandlerIsCalledInPlaceAndNotCopied) {
    const auto token = std::make_shared<int>();
    long ownersDuringTheCall = 0;
    subscription().addMsgHandler(kMsgNo, [token, &ownersDuringTheCall](const auto&) {
        ownersDuringTheCall = token.use_count();
    });
    const long ownersBefore = token.use_count();

    deliver(kMsgNo);

    EXPECT_EQ(ownersDuringTheCall, ownersBefore);
}

TEST_F(HandlerLifetime, AHandlerThatRemovesItselfLivesUntilItReturns) {
    const std::weak_ptr<int> handler = addHandler(kMsgNo, [] {
        EXPECT_EQ(subscription().removeMsgHandler(kMsgNo), ItcMessageSubscriptionIf::OK);
        EXPECT_FALSE(isRegistered(kMsgNo));
    });

    deliver(kMsgNo);

    EXPECT_TRUE(handler.expired());
}

TEST_F(HandlerLifetime, AHandlerThatReplacesItselfLivesUntilItReturns) {
    int callsOfTheNewOne = 0;
    const std::weak_ptr<int> handler = addHandler(kMsgNo, [&callsOfTheNewOne] {
        subscription().removeMsgHandler(kMsgNo);
        subscription().addMsgHandler(kMsgNo,
                                     [&callsOfTheNewOne](const auto&) { ++callsOfTheNewOne; });
    });

    deliver(kMsgNo);
    EXPECT_TRUE(handler.expired());
    EXPECT_EQ(callsOfTheNewOne, 0);

    deliver(kMsgNo);
    EXPECT_EQ(callsOfTheNewOne, 1);
}

TEST_F(HandlerLifetime, AHandlerThatRemovesItselfAndThrowsGoesToo) {
    const std::weak_ptr<int> handler = addHandler(kMsgNo, [] {
        subscription().removeMsgHandler(kMsgNo);
        throw std::runtime_error("handler failed");
    });

    EXPECT_THROW(deliver(kMsgNo), std::runtime_error);

    EXPECT_TRUE(handler.expired());
    EXPECT_EQ(FakeItc::blocksInUse(), 0U);
}

TEST_F(HandlerLifetime, AHandlerThatRemovesItselfInACallWithinItsCallLivesUntilTheOuterReturns) {
    int depth = 0;
    std::weak_ptr<int> handler;
    handler = addHandler(kMsgNo, [&depth, &handler] {
        if (++depth == 1) {
            deliver(kMsgNo);
            EXPECT_FALSE(handler.expired()) << "the outer call still runs it";
        } else {
            subscription().removeMsgHandler(kMsgNo);
        }
    });

    deliver(kMsgNo);

    EXPECT_EQ(depth, 2);
    EXPECT_TRUE(handler.expired());
}

TEST_F(HandlerLifetime, AHandlerThatRemovesItselfAfterACallWithinItsCallLivesUntilItReturns) {
    addHandler(kMsgNo + 1, [] {});
    std::weak_ptr<int> handler;
    handler = addHandler(kMsgNo, [&handler] {
        deliver(kMsgNo + 1);
        subscription().removeMsgHandler(kMsgNo);
        EXPECT_FALSE(handler.expired());
    });

    deliver(kMsgNo);

    EXPECT_TRUE(handler.expired());
}

TEST_F(HandlerLifetime, AHandlerMayResetTheSubscriptionWhileItRuns) {
    const std::weak_ptr<int> other = addHandler(kMsgNo + 1, [] {});
    const std::weak_ptr<int> handler = addHandler(kMsgNo, [other] {
        ItcMessageSubscriptionImpl::reset();
        EXPECT_TRUE(other.expired());
    });

    deliver(kMsgNo);

    EXPECT_TRUE(handler.expired());
    EXPECT_FALSE(isRegistered(kMsgNo));
    EXPECT_EQ(FakeItc::blocksInUse(), 0U);
}

TEST_F(HandlerLifetime, AHandlerMayResetTheSubscriptionInsideTheEventLoop) {
    const int readable = eventfd(1, EFD_CLOEXEC);
    addHandler(kMsgNo, [] { ItcMessageSubscriptionImpl::reset(); });
    subscription().monitorItcFd(readable);
    FakeItc::queueMessage(kMsgNo, 2);

    EXPECT_EQ(EventLoopIf::getInstance()->run(), EventLoopIf::OK) << "no descriptor is left";

    close(readable);
}

TEST_F(HandlerLifetime, WhatAHandlerOwnsMayUseTheSubscriptionAsItGoes) {
    const auto useIt = [] {
        subscription().removeMsgHandler(kMsgNo);
        subscription().removeMsgHandler(kMsgNo + 1);
    };
    for (const unsigned int msgNo : {kMsgNo, kMsgNo + 1, kMsgNo + 2}) {
        subscription().addMsgHandler(
            msgNo, [user = std::make_shared<AtEnd>(useIt)](const std::shared_ptr<itc_msg>&) {});
    }

    ItcMessageSubscriptionImpl::reset();

    EXPECT_FALSE(isRegistered(kMsgNo + 2));
}

TEST_F(HandlerLifetime, AResetTakesTheDescriptorOutOfTheLoopBeforeItDropsTheHandlers) {
    const int fd = eventfd(0, EFD_CLOEXEC);
    EventLoopIf::ReturnCode removed = EventLoopIf::OK;
    const auto remove = [fd, &removed] {
        removed = EventLoopIf::getInstance()->removeFdHandler(fd);
    };
    subscription().addMsgHandler(
        kMsgNo, [user = std::make_shared<AtEnd>(remove)](const std::shared_ptr<itc_msg>&) {});
    subscription().monitorItcFd(fd);

    ItcMessageSubscriptionImpl::reset();

    EXPECT_EQ(removed, EventLoopIf::NOT_FOUND);
    close(fd);
}

TEST_F(HandlerLifetime, TheHandlersGoWithTheirThread) {
    std::weak_ptr<int> handler;

    std::thread([&handler] { handler = addHandler(kMsgNo, [] {}); }).join();

    EXPECT_TRUE(handler.expired());
}

// The threads library destroys a thread's instances in the order in which their classes were first
// used in the process; CTest gives each of these two a process of its own.
TEST_F(HandlerLifetime, AThreadMayEndWithItsEventLoopGoneFirst) {
    const int fd = eventfd(0, EFD_CLOEXEC);

    std::thread([fd] {
        EventLoopIf::getInstance();
        EXPECT_EQ(subscription().monitorItcFd(fd), ItcMessageSubscriptionIf::OK);
    }).join();

    close(fd);
}

TEST_F(HandlerLifetime, AThreadMayEndWithItsSubscriptionGoneFirst) {
    const int fd = eventfd(0, EFD_CLOEXEC);

    std::thread([fd] {
        subscription();
        EventLoopIf::getInstance();
        EXPECT_EQ(subscription().monitorItcFd(fd), ItcMessageSubscriptionIf::OK);
    }).join();

    close(fd);
}

}  // namespace
