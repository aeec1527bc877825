#include "itcMessageSubscriptionImpl.h"

#include "eventLoopImpl.h"

#include <quoria/eventLoop/eventLoopIf.h>
#include <quoria/threadLocal/threadLocalLinux.h>

#include <gtest/gtest.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <thread>

namespace {

using Quoria::EventLoop::V1::EventLoopIf;
using Quoria::EventLoop::V1::EventLoopImpl;
using Quoria::ItcMessageSubscription::V1::ItcMessageSubscriptionIf;
using Quoria::ItcMessageSubscription::V1::ItcMessageSubscriptionImpl;
using Quoria::ItcMessageSubscription::V1::MsgHandler;
using Quoria::ThreadLocal::V1::detail::ThreadLocalLinux;

using ReturnCode = ItcMessageSubscriptionIf::ReturnCode;

constexpr unsigned int kMsgNo = 0x77;

const MsgHandler kIgnore = [](const std::shared_ptr<itc_msg>&) {};

class HandlerTable : public testing::Test {
protected:
    HandlerTable() : fd_(eventfd(0, EFD_CLOEXEC)) {}
    ~HandlerTable() override {
        ItcMessageSubscriptionImpl::reset();
        close(fd_);
    }

    // What `operation` returns on a thread that does not own the subscription.
    template <typename Operation>
    static ReturnCode onAnotherThread(const Operation& operation) {
        ReturnCode result = ItcMessageSubscriptionIf::OK;
        std::thread([&result, &operation] { result = operation(); }).join();
        return result;
    }

    static bool isRegistered(unsigned int msgNo) {
        MsgHandler handler;
        return ItcMessageSubscriptionIf::getInstance().getMsgHandler(msgNo, handler) ==
               ItcMessageSubscriptionIf::OK;
    }

    const int fd_;
    ItcMessageSubscriptionIf& subscription_ = ItcMessageSubscriptionIf::getInstance();
};

TEST_F(HandlerTable, ResultsHaveTheirFixedValues) {
    EXPECT_EQ(ItcMessageSubscriptionIf::OK, 0U);
    EXPECT_EQ(ItcMessageSubscriptionIf::ALREADY_EXISTS, 1U);
    EXPECT_EQ(ItcMessageSubscriptionIf::NOT_FOUND, 2U);
    EXPECT_EQ(ItcMessageSubscriptionIf::WRONG_THREAD, 3U);
    EXPECT_EQ(ItcMessageSubscriptionIf::OS_ERROR, 4U);
}

TEST_F(HandlerTable, AThreadHasOneSubscription) {
    EXPECT_EQ(&ItcMessageSubscriptionIf::getInstance(), &subscription_);
    EXPECT_EQ(&ItcMessageSubscriptionImpl::getInstance(), &subscription_);
}

TEST_F(HandlerTable, EveryThreadHasItsOwn) {
    subscription_.addMsgHandler(kMsgNo, kIgnore);

    std::thread([this] {
        EXPECT_NE(&ItcMessageSubscriptionIf::getInstance(), &subscription_);
        EXPECT_FALSE(isRegistered(kMsgNo));
    }).join();
}

TEST_F(HandlerTable, AnAddedHandlerCanBeFetched) {
    int calls = 0;

    EXPECT_EQ(subscription_.addMsgHandler(kMsgNo, [&calls](const auto&) { ++calls; }),
              ItcMessageSubscriptionIf::OK);

    MsgHandler fetched;
    EXPECT_EQ(subscription_.getMsgHandler(kMsgNo, fetched), ItcMessageSubscriptionIf::OK);
    fetched(nullptr);
    EXPECT_EQ(calls, 1);
}

TEST_F(HandlerTable, FetchingAnUnknownHandlerLeavesTheArgumentAlone) {
    int calls = 0;
    MsgHandler mine = [&calls](const auto&) { ++calls; };

    EXPECT_EQ(subscription_.getMsgHandler(kMsgNo, mine), ItcMessageSubscriptionIf::NOT_FOUND);

    mine(nullptr);
    EXPECT_EQ(calls, 1);
}

TEST_F(HandlerTable, ASecondHandlerForANumberIsRefusedAndTheFirstStays) {
    int first = 0;
    int second = 0;
    subscription_.addMsgHandler(kMsgNo, [&first](const auto&) { ++first; });

    EXPECT_EQ(subscription_.addMsgHandler(kMsgNo, [&second](const auto&) { ++second; }),
              ItcMessageSubscriptionIf::ALREADY_EXISTS);

    MsgHandler fetched;
    subscription_.getMsgHandler(kMsgNo, fetched);
    fetched(nullptr);
    EXPECT_EQ(first, 1);
    EXPECT_EQ(second, 0);
}

TEST_F(HandlerTable, ARemovedHandlerIsGoneAndTheNumberIsFree) {
    subscription_.addMsgHandler(kMsgNo, kIgnore);

    EXPECT_EQ(subscription_.removeMsgHandler(kMsgNo), ItcMessageSubscriptionIf::OK);

    EXPECT_FALSE(isRegistered(kMsgNo));
    EXPECT_EQ(subscription_.addMsgHandler(kMsgNo, kIgnore), ItcMessageSubscriptionIf::OK);
}

TEST_F(HandlerTable, RemovingAnUnknownNumberFindsNothing) {
    subscription_.addMsgHandler(kMsgNo, kIgnore);

    EXPECT_EQ(subscription_.removeMsgHandler(kMsgNo + 1), ItcMessageSubscriptionIf::NOT_FOUND);
    EXPECT_TRUE(isRegistered(kMsgNo));
}

TEST_F(HandlerTable, OtherThreadsAreRefusedAndChangeNothing) {
    subscription_.addMsgHandler(kMsgNo, kIgnore);
    MsgHandler handler;

    EXPECT_EQ(onAnotherThread([this] { return subscription_.monitorItcFd(fd_); }),
              ItcMessageSubscriptionIf::WRONG_THREAD);
    EXPECT_EQ(onAnotherThread([this] { return subscription_.addMsgHandler(kMsgNo + 1, kIgnore); }),
              ItcMessageSubscriptionIf::WRONG_THREAD);
    EXPECT_EQ(onAnotherThread([this] { return subscription_.removeMsgHandler(kMsgNo); }),
              ItcMessageSubscriptionIf::WRONG_THREAD);
    EXPECT_EQ(
        onAnotherThread([this, &handler] { return subscription_.getMsgHandler(kMsgNo, handler); }),
        ItcMessageSubscriptionIf::WRONG_THREAD);

    EXPECT_FALSE(handler);
    EXPECT_TRUE(isRegistered(kMsgNo));
    EXPECT_FALSE(isRegistered(kMsgNo + 1));
    EXPECT_EQ(subscription_.monitorItcFd(fd_), ItcMessageSubscriptionIf::OK);
}

TEST_F(HandlerTable, OtherThreadsAreRefusedWhateverTheyAskFor) {
    subscription_.monitorItcFd(fd_);
    subscription_.addMsgHandler(kMsgNo, kIgnore);
    MsgHandler handler;

    EXPECT_EQ(onAnotherThread([this] { return subscription_.monitorItcFd(fd_); }),
              ItcMessageSubscriptionIf::WRONG_THREAD);
    EXPECT_EQ(onAnotherThread([this] { return subscription_.addMsgHandler(kMsgNo, kIgnore); }),
              ItcMessageSubscriptionIf::WRONG_THREAD);
    EXPECT_EQ(onAnotherThread([this] { return subscription_.removeMsgHandler(kMsgNo + 1); }),
              ItcMessageSubscriptionIf::WRONG_THREAD);
    EXPECT_EQ(onAnotherThread(
                  [this, &handler] { return subscription_.getMsgHandler(kMsgNo + 1, handler); }),
              ItcMessageSubscriptionIf::WRONG_THREAD);
}

TEST_F(HandlerTable, WithoutADescriptorNoEventLoopIsMade) {
    std::thread([] {
        ItcMessageSubscriptionIf::getInstance().addMsgHandler(kMsgNo, kIgnore);
        ItcMessageSubscriptionImpl::reset();

        EXPECT_EQ((ThreadLocalLinux<EventLoopImpl, 1>::peekInstance()), nullptr);
    }).join();
}

TEST_F(HandlerTable, ADescriptorIsWatchedByTheThreadsEventLoop) {
    EXPECT_EQ(subscription_.monitorItcFd(fd_), ItcMessageSubscriptionIf::OK);

    EXPECT_EQ(EventLoopIf::getInstance()->addFdHandler(fd_, EventLoopIf::EVENT_IN, nullptr),
              EventLoopIf::ALREADY_EXISTS);
}

TEST_F(HandlerTable, ASecondDescriptorIsRefusedAndTheFirstStays) {
    const int other = eventfd(0, EFD_CLOEXEC);
    subscription_.monitorItcFd(fd_);

    EXPECT_EQ(subscription_.monitorItcFd(fd_), ItcMessageSubscriptionIf::ALREADY_EXISTS);
    EXPECT_EQ(subscription_.monitorItcFd(other), ItcMessageSubscriptionIf::ALREADY_EXISTS);

    EXPECT_EQ(EventLoopIf::getInstance()->removeFdHandler(other), EventLoopIf::NOT_FOUND);
    EXPECT_EQ(EventLoopIf::getInstance()->removeFdHandler(fd_), EventLoopIf::OK);
    close(other);
}

TEST_F(HandlerTable, ADescriptorThatTheLoopRefusesIsAnErrorAndMayBeFollowedByAnother) {
    constexpr int noDescriptor = -1;

    EXPECT_EQ(subscription_.monitorItcFd(noDescriptor), ItcMessageSubscriptionIf::OS_ERROR);

    EXPECT_EQ(subscription_.monitorItcFd(fd_), ItcMessageSubscriptionIf::OK);
}

TEST_F(HandlerTable, ADescriptorThatIsTakenInTheLoopIsAnError) {
    EventLoopIf::getInstance()->addFdHandler(fd_, EventLoopIf::EVENT_IN, [](int, unsigned int) {});

    EXPECT_EQ(subscription_.monitorItcFd(fd_), ItcMessageSubscriptionIf::OS_ERROR);

    EventLoopIf::getInstance()->removeFdHandler(fd_);
}

TEST_F(HandlerTable, AfterAResetTheThreadHasAFreshSubscription) {
    subscription_.addMsgHandler(kMsgNo, kIgnore);
    subscription_.monitorItcFd(fd_);

    ItcMessageSubscriptionImpl::reset();

    EXPECT_FALSE(isRegistered(kMsgNo));
    EXPECT_EQ(ItcMessageSubscriptionIf::getInstance().monitorItcFd(fd_),
              ItcMessageSubscriptionIf::OK);
}

TEST_F(HandlerTable, AResetTakesTheDescriptorOutOfTheEventLoop) {
    subscription_.monitorItcFd(fd_);

    ItcMessageSubscriptionImpl::reset();

    EXPECT_EQ(EventLoopIf::getInstance()->removeFdHandler(fd_), EventLoopIf::NOT_FOUND);
}

TEST_F(HandlerTable, AResetLeavesOtherThreadsAlone) {
    subscription_.addMsgHandler(kMsgNo, kIgnore);

    std::thread(&ItcMessageSubscriptionImpl::reset).join();

    EXPECT_TRUE(isRegistered(kMsgNo));
}

TEST_F(HandlerTable, AResetOnAThreadWithoutASubscriptionMakesNone) {
    std::thread([] {
        ItcMessageSubscriptionImpl::reset();

        using ThreadInstance = ThreadLocalLinux<ItcMessageSubscriptionImpl, 1>;
        EXPECT_EQ(ThreadInstance::peekInstance(), nullptr);
    }).join();
}

}  // namespace
