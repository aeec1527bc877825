#include "monitorFixture.h"

#include <quoriaTest/traceCapture.h>

#include <stdexcept>
#include <utility>

namespace {

namespace FakeItc = QuoriaTest::FakeItc;

using QuoriaTest::kOtherPeer;
using QuoriaTest::kPeer;
using QuoriaTest::TraceCapture;
using testing::ElementsAre;
using testing::IsEmpty;

class MonitorDelivery : public QuoriaTest::MonitorFixture {};

TEST_F(MonitorDelivery, EveryUserIsToldOnceWhichMailboxHasGone) {
    const unsigned int first = watch(kPeer);
    const unsigned int second = watch(kPeer);

    endMailbox(kPeer);

    EXPECT_THAT(told_, ElementsAre(kPeer, kPeer));
    EXPECT_FALSE(monitor().unmonitor(first));
    EXPECT_FALSE(monitor().unmonitor(second));
}

TEST_F(MonitorDelivery, UsersOfOtherMailboxesAreNotTold) {
    watch(kPeer);
    const unsigned int other = watch(kOtherPeer);

    endMailbox(kPeer);

    EXPECT_THAT(told_, ElementsAre(kPeer));
    EXPECT_TRUE(monitor().unmonitor(other));
}

TEST_F(MonitorDelivery, AUserThatHasUnmonitoredIsNotTold) {
    monitor().unmonitor(watch(kPeer));
    watch(kPeer);

    endMailbox(kPeer);

    EXPECT_THAT(told_, ElementsAre(kPeer));
}

TEST_F(MonitorDelivery, TheSpentItcMonitorIsNotUnmonitored) {
    watch(kPeer);

    endMailbox(kPeer);

    EXPECT_THAT(FakeItc::takeCallsOf("itc_unmonitor"), IsEmpty());
    EXPECT_EQ(FakeItc::blocksInUse(), 0U);
}

TEST_F(MonitorDelivery, AnIndicationThatCrossedAnUnmonitorIsIgnored) {
    const unsigned int handle = watch(kPeer);
    FakeItc::endMailbox(kPeer);
    monitor().unmonitor(handle);
    const TraceCapture trace;

    receiveAll();

    EXPECT_THAT(told_, IsEmpty());
    EXPECT_THAT(trace.events(), IsEmpty());
}

TEST_F(MonitorDelivery, AMailboxMonitoredAgainAfterItsIndicationGetsAFreshItcMonitor) {
    watch(kPeer);
    endMailbox(kPeer);
    FakeItc::takeCalls();

    watch(kPeer);

    EXPECT_THAT(FakeItc::takeCallsOf("itc_monitor"), ElementsAre("itc_monitor(0x11, 0x1707091)"));
    endMailbox(kPeer);
    EXPECT_THAT(told_, ElementsAre(kPeer, kPeer));
}

TEST_F(MonitorDelivery, ACallbackFindsItsOwnRegistrationEnded) {
    unsigned int handle = 0;
    bool known = true;
    handle = monitor().monitor(
        kPeer, [&handle, &known](unsigned int) { known = monitor().unmonitor(handle); });

    endMailbox(kPeer);

    EXPECT_FALSE(known);
}

TEST_F(MonitorDelivery, ACallbackThatUnmonitorsTheOtherUserKeepsItFromBeingTold) {
    unsigned int handles[2] = {0, 0};
    int calls = 0;
    bool otherWasKnown = false;
    for (const unsigned int own : {0U, 1U}) {
        handles[own] = monitor().monitor(kPeer, [&, own](unsigned int) {
            ++calls;
            otherWasKnown = monitor().unmonitor(handles[1 - own]);
        });
    }

    endMailbox(kPeer);

    EXPECT_EQ(calls, 1);
    EXPECT_TRUE(otherWasKnown);
}

TEST_F(MonitorDelivery, ACallbackMayMonitorTheSameMailboxAgain) {
    monitor().monitor(kPeer, [this](unsigned int mailbox) { watch(mailbox); });
    FakeItc::takeCalls();

    endMailbox(kPeer);
    EXPECT_THAT(told_, IsEmpty()) << "the new registration waits for an indication of its own";
    EXPECT_THAT(FakeItc::takeCallsOf("itc_monitor"), ElementsAre("itc_monitor(0x11, 0x1707091)"));

    endMailbox(kPeer);
    EXPECT_THAT(told_, ElementsAre(kPeer));
}

TEST_F(MonitorDelivery, AFreshItcMonitorIsNoneOfTheUsersThatAreStillToBeTold) {
    unsigned int handles[2] = {0, 0};
    for (const unsigned int own : {0U, 1U}) {
        handles[own] = monitor().monitor(kPeer, [&, own](unsigned int mailbox) {
            watch(mailbox);
            monitor().unmonitor(handles[1 - own]);
        });
    }

    endMailbox(kPeer);
    EXPECT_THAT(FakeItc::takeCallsOf("itc_unmonitor"), IsEmpty());

    endMailbox(kPeer);
    EXPECT_THAT(told_, ElementsAre(kPeer));
}

TEST_F(MonitorDelivery, ACallbackMayMonitorManyOtherMailboxes) {
    for (int user = 0; user < 2; ++user) {
        monitor().monitor(kPeer, [this](unsigned int mailbox) {
            told_.push_back(mailbox);
            for (unsigned int other = 0x1000; other < 0x1400; ++other) {
                monitor().monitor(other, [](unsigned int) {});
            }
        });
    }

    endMailbox(kPeer);

    EXPECT_THAT(told_, ElementsAre(kPeer, kPeer));
}

TEST_F(MonitorDelivery, ACallbackMayReceiveTheEndOfAnotherMailbox) {
    monitor().monitor(kPeer, [this](unsigned int mailbox) {
        endMailbox(kOtherPeer);
        told_.push_back(mailbox);
    });
    watch(kOtherPeer);

    endMailbox(kPeer);

    EXPECT_THAT(told_, ElementsAre(kOtherPeer, kPeer));
}

// Which of the two users is told first is not said. That one gets a fresh itc monitor, in which the
// other user has no part.
TEST_F(MonitorDelivery, AUserStillToBeToldMayBeUnmonitoredFromADeliveryWithinItsOwn) {
    bool isFirst = true;
    const auto user = [&](unsigned int mailbox) {
        ASSERT_TRUE(std::exchange(isFirst, false));
        watch(mailbox);
        endMailbox(kOtherPeer);
    };
    const unsigned int one = monitor().monitor(kPeer, user);
    const unsigned int other = monitor().monitor(kPeer, user);
    monitor().monitor(kOtherPeer, [&](unsigned int) {
        EXPECT_NE(monitor().unmonitor(one), monitor().unmonitor(other));
    });

    endMailbox(kPeer);
    EXPECT_FALSE(isFirst);
    EXPECT_THAT(told_, IsEmpty());
    EXPECT_THAT(FakeItc::takeCallsOf("itc_unmonitor"), IsEmpty());

    endMailbox(kPeer);
    EXPECT_THAT(told_, ElementsAre(kPeer));
}

class CountsCopies {
public:
    CountsCopies(int& copies, int& calls) : copies_(copies), calls_(calls) {}
    CountsCopies(const CountsCopies& other) : copies_(other.copies_), calls_(other.calls_) {
        ++copies_;
    }
    void operator()(unsigned int) const { ++calls_; }

private:
    int& copies_;
    int& calls_;
};

TEST_F(MonitorDelivery, ACallbackIsNotCopiedWhenItsTurnComes) {
    int copies = 0;
    int calls = 0;
    monitor().monitor(kPeer, CountsCopies(copies, calls));
    const int copiesOfRegistration = copies;

    endMailbox(kPeer);

    EXPECT_EQ(calls, 1);
    EXPECT_EQ(copies, copiesOfRegistration);
}

TEST_F(MonitorDelivery, AnEmptyCallbackThrowsWhenItsTurnComes) {
    const unsigned int handle = monitor().monitor(kPeer, nullptr);
    FakeItc::endMailbox(kPeer);

    EXPECT_THROW(receiveAll(), std::bad_function_call);

    EXPECT_FALSE(monitor().unmonitor(handle));
    EXPECT_EQ(FakeItc::blocksInUse(), 0U);
}

TEST_F(MonitorDelivery, DispatchCallsTheCallbackItIsGiven) {
    monitor().dispatch([this](unsigned int mailbox) { told_.push_back(mailbox); }, kPeer);

    EXPECT_THAT(told_, ElementsAre(kPeer));
    EXPECT_THROW(monitor().dispatch(nullptr, kPeer), std::bad_function_call);
}

TEST_F(MonitorDelivery, AnExceptionLeavesTheOtherUsersRegistered) {
    std::vector<unsigned int> handles;
    for (int user = 0; user < 2; ++user) {
        handles.push_back(monitor().monitor(
            kPeer, [](unsigned int) { throw std::runtime_error("callback failed"); }));
    }
    FakeItc::endMailbox(kPeer);

    EXPECT_THROW(receiveAll(), std::runtime_error);

    const bool first = monitor().unmonitor(handles[0]);
    const bool second = monitor().unmonitor(handles[1]);
    EXPECT_NE(first, second) << "one was called, the other not";
}

}  // namespace
