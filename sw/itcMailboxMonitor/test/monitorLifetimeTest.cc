#include "monitorFixture.h"

#include <quoria/threadLocal/threadLocalLinux.h>
#include <quoriaTest/traceCapture.h>

#include <memory>
#include <thread>
#include <utility>

namespace {

namespace FakeItc = QuoriaTest::FakeItc;

using Quoria::ItcMessageSubscription::V1::ItcMessageSubscriptionIf;
using Quoria::ThreadLocal::V1::detail::ThreadLocalLinux;
using QuoriaTest::kPeer;
using QuoriaTest::TraceCapture;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr unsigned int kMonitorIndMsgNo = 0x01707091;

// Unmonitors a registration when the last copy of it goes.
class UnmonitorAtEnd {
public:
    explicit UnmonitorAtEnd(unsigned int handle) : handle_(handle) {}
    ~UnmonitorAtEnd() {
        using Quoria::ItcMailboxMonitor::V1::ItcMailboxMonitorIf;
        ItcMailboxMonitorIf::getInstance().unmonitor(handle_);
    }
    UnmonitorAtEnd(const UnmonitorAtEnd&) = delete;
    UnmonitorAtEnd& operator=(const UnmonitorAtEnd&) = delete;

private:
    const unsigned int handle_;
};

class MonitorLifetime : public QuoriaTest::MonitorFixture {
protected:
    static bool handlesIndications() {
        Quoria::ItcMessageSubscription::V1::MsgHandler handler;
        return Subscription::getInstance().getMsgHandler(kMonitorIndMsgNo, handler) ==
               ItcMessageSubscriptionIf::OK;
    }
};

TEST_F(MonitorLifetime, AMonitorHandlesItsThreadsIndicationsFromTheStart) {
    EXPECT_FALSE(handlesIndications());

    monitor();

    EXPECT_TRUE(handlesIndications());
}

TEST_F(MonitorLifetime, ANumberThatIsTakenStaysWithWhoHasItUntilTheMonitorGoes) {
    int taken = 0;
    Subscription::getInstance().addMsgHandler(kMonitorIndMsgNo, [&taken](const auto&) { ++taken; });
    watch(kPeer);

    endMailbox(kPeer);

    EXPECT_EQ(taken, 1);
    EXPECT_THAT(told_, IsEmpty());
    Monitor::reset();
    EXPECT_FALSE(handlesIndications());
}

TEST_F(MonitorLifetime, AResetEndsTheHandlingBeforeItDropsTheCallbacks) {
    bool handledAtTheDrop = true;
    const auto noteAtEnd = [&handledAtTheDrop](const int* token) {
        handledAtTheDrop = handlesIndications();
        delete token;
    };
    monitor().monitor(kPeer, [held = std::shared_ptr<int>(new int(0), noteAtEnd)](unsigned int) {});

    Monitor::reset();

    EXPECT_FALSE(handledAtTheDrop);
}

TEST_F(MonitorLifetime, AResetEndsTheHandlingAndForgetsAllUsersSilently) {
    const unsigned int handle = watch(kPeer);
    FakeItc::takeCalls();

    Monitor::reset();

    EXPECT_FALSE(handlesIndications());
    EXPECT_THAT(FakeItc::takeCalls(), IsEmpty()) << "no itc_unmonitor";
    EXPECT_FALSE(monitor().unmonitor(handle));
    EXPECT_THAT(told_, IsEmpty());
}

TEST_F(MonitorLifetime, AnIndicationAfterAResetIsAnUnhandledMessage) {
    watch(kPeer);
    Monitor::reset();
    const TraceCapture trace;

    endMailbox(kPeer);

    EXPECT_THAT(trace.messages("ERROR"),
                ElementsAre("Unhandled ITC message 0x1707091 from '-' received in mailbox '-'"));
    EXPECT_THAT(told_, IsEmpty());
}

TEST_F(MonitorLifetime, AnIndicationFromBeforeAResetTellsTheUsersOfTheNextMonitor) {
    watch(kPeer);
    Monitor::reset();
    watch(kPeer);

    endMailbox(kPeer);

    EXPECT_THAT(told_, ElementsAre(kPeer)) << "once, though itc sends two indications";
}

TEST_F(MonitorLifetime, HandlesGoOnCountingAfterAReset) {
    const unsigned int before = watch(kPeer);

    Monitor::reset();

    EXPECT_EQ(watch(kPeer), before + 1);
}

TEST_F(MonitorLifetime, AResetLeavesOtherThreadsAlone) {
    watch(kPeer);

    std::thread(&Monitor::reset).join();
    endMailbox(kPeer);

    EXPECT_THAT(told_, ElementsAre(kPeer));
}

TEST_F(MonitorLifetime, AResetOnAThreadWithoutAMonitorMakesNone) {
    std::thread([] {
        Monitor::reset();

        using ThreadInstance = ThreadLocalLinux<Monitor, 1>;
        EXPECT_EQ(ThreadInstance::peekInstance(), nullptr);
    }).join();
}

TEST_F(MonitorLifetime, ACallbackMayResetTheMonitorAndTheOtherUsersAreDropped) {
    int calls = 0;
    for (int user = 0; user < 3; ++user) {
        monitor().monitor(kPeer, [&calls](unsigned int) {
            ++calls;
            Monitor::reset();
        });
    }

    endMailbox(kPeer);

    EXPECT_EQ(calls, 1);
    EXPECT_FALSE(handlesIndications());
}

TEST_F(MonitorLifetime, ACallbackMayReplaceTheMonitor) {
    for (int user = 0; user < 3; ++user) {
        monitor().monitor(kPeer, [this](unsigned int mailbox) {
            Monitor::reset();
            watch(mailbox);
        });
    }
    endMailbox(kPeer);
    EXPECT_THAT(told_, IsEmpty());

    endMailbox(kPeer);

    EXPECT_THAT(told_, ElementsAre(kPeer));
}

TEST_F(MonitorLifetime, ACallbackWithinACallbackMayResetTheMonitor) {
    constexpr unsigned int innerPeer = 0x13;
    int outerCalls = 0;
    for (int user = 0; user < 2; ++user) {
        monitor().monitor(kPeer, [&outerCalls](unsigned int) {
            ++outerCalls;
            endMailbox(innerPeer);
        });
    }
    monitor().monitor(innerPeer, [](unsigned int) { Monitor::reset(); });

    endMailbox(kPeer);

    EXPECT_EQ(outerCalls, 1);
}

TEST_F(MonitorLifetime, ACallbackMayResetTheMonitorAfterACallbackWithinIt) {
    constexpr unsigned int innerPeer = 0x13;
    int outerCalls = 0;
    for (int user = 0; user < 2; ++user) {
        monitor().monitor(kPeer, [&outerCalls](unsigned int) {
            ++outerCalls;
            endMailbox(innerPeer);
            Monitor::reset();
        });
    }
    monitor().monitor(innerPeer, [](unsigned int) {});

    endMailbox(kPeer);

    EXPECT_EQ(outerCalls, 1);
}

TEST_F(MonitorLifetime, WhatACallbackOwnsMayUseTheMonitorAsItGoes) {
    for (unsigned int other = 0; other < 8; ++other) {
        const unsigned int handle = watch(kPeer);
        monitor().monitor(kPeer,
                          [user = std::make_shared<UnmonitorAtEnd>(handle)](unsigned int) {});
    }

    Monitor::reset();

    EXPECT_THAT(FakeItc::takeCallsOf("itc_unmonitor"), IsEmpty());
}

TEST_F(MonitorLifetime, ASubscriptionThatIsResetUnderTheMonitorLosesTheIndications) {
    watch(kPeer);

    Subscription::reset();
    endMailbox(kPeer);

    EXPECT_THAT(told_, IsEmpty());
}

// The threads library destroys a thread's instances in the order in which their classes were first
// used in the process; CTest gives each of these two a process of its own.
TEST_F(MonitorLifetime, AThreadMayEndWithItsSubscriptionGoneFirst) {
    std::thread([] {
        Subscription::getInstance();
        monitor().monitor(kPeer, [](unsigned int) {});
    }).join();
}

TEST_F(MonitorLifetime, AThreadMayEndWithItsMonitorGoneFirst) {
    std::thread([] {
        ThreadLocalLinux<Monitor, 1>::peekInstance();  // makes the key and no instance
        monitor().monitor(kPeer, [](unsigned int) {});
    }).join();
}

TEST_F(MonitorLifetime, AThreadThatEndsDropsItsCallbacksSilently) {
    const auto owned = std::make_shared<int>();

    std::thread([owned] {
        monitor().monitor(kPeer, [owned](unsigned int) { FAIL() << "dropped"; });
        FakeItc::takeCalls();
    }).join();

    EXPECT_EQ(owned.use_count(), 1);
    EXPECT_THAT(FakeItc::takeCalls(), IsEmpty()) << "no itc_unmonitor";
}

}  // namespace
