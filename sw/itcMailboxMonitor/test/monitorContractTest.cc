#include "itcMailboxMonitorImpl.h"
#include "itcMessageSubscriptionImpl.h"

#include <quoria/eventLoop/eventLoopIf.h>
#include <quoria/itc/itcOperations.h>
#include <quoriaTest/traceCapture.h>

#include <gmock/gmock.h>

#include <future>
#include <optional>
#include <thread>
#include <vector>

namespace {

namespace Itc = Quoria::Itc;

using Quoria::EventLoop::V1::EventLoopIf;
using Quoria::ItcMailboxMonitor::V1::ItcMailboxMonitorIf;
using Quoria::ItcMailboxMonitor::V1::ItcMailboxMonitorImpl;
using Quoria::ItcMessageSubscription::V1::ItcMessageSubscriptionIf;
using Quoria::ItcMessageSubscription::V1::ItcMessageSubscriptionImpl;
using QuoriaTest::TraceCapture;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr unsigned int kStopMsgNo = 0x1001;

// A thread with a mailbox, until end() or the end of the object.
class Peer {
public:
    enum class Ending { DeletesItsMailbox, LeavesItsMailbox };

    explicit Peer(Ending ending = Ending::LeavesItsMailbox) {
        std::promise<std::uint32_t> created;
        thread_ = std::thread([this, ending, &created] {
            const std::uint32_t mailbox = Itc::createMailbox("peer");
            created.set_value(mailbox);
            mayEnd_.get_future().wait();
            if (ending == Ending::DeletesItsMailbox) {
                Itc::deleteMailbox(mailbox);
            }
        });
        mailbox_ = created.get_future().get();
    }
    ~Peer() { end(); }
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    std::uint32_t mailbox() const { return mailbox_; }
    void end() {
        if (thread_.joinable()) {
            mayEnd_.set_value();
            thread_.join();
        }
    }

private:
    std::promise<void> mayEnd_;
    std::thread thread_;
    std::uint32_t mailbox_ = Itc::kItcNoMailbox;
};

class MonitorContract : public testing::Test {
protected:
    MonitorContract() : mailbox_(Itc::createMailbox("watcher")) {
        auto& subscription = ItcMessageSubscriptionIf::getInstance();
        subscription.addMsgHandler(kStopMsgNo,
                                   [](const auto&) { EventLoopIf::getInstance()->stop(); });
        subscription.monitorItcFd(Itc::getFd());
    }
    ~MonitorContract() override {
        ItcMailboxMonitorImpl::reset();
        ItcMessageSubscriptionImpl::reset();
        Itc::deleteMailbox(mailbox_);
    }

    static ItcMailboxMonitorIf& monitor() { return ItcMailboxMonitorIf::getInstance(); }

    unsigned int watch(std::uint32_t mailbox) {
        return monitor().monitor(mailbox, [this](unsigned int gone) { told_.push_back(gone); });
    }
    static void stopWhenGone(std::uint32_t mailbox) {
        monitor().monitor(mailbox, [](unsigned int) { EventLoopIf::getInstance()->stop(); });
    }
    static void runUntilStopped() { EXPECT_EQ(EventLoopIf::getInstance()->run(), EventLoopIf::OK); }
    // Handles everything that is queued already.
    void runUntilIdle() {
        itc_msg* stop = Itc::alloc(4, kStopMsgNo);
        Itc::send(&stop, mailbox_, Itc::kItcOwnMailbox);
        runUntilStopped();
    }

    const std::uint32_t mailbox_;
    std::vector<unsigned int> told_;
};

TEST_F(MonitorContract, AllUsersAreToldWhenAThreadDeletesItsMailbox) {
    Peer peer(Peer::Ending::DeletesItsMailbox);
    watch(peer.mailbox());
    watch(peer.mailbox());
    stopWhenGone(peer.mailbox());

    peer.end();
    runUntilStopped();
    runUntilIdle();

    EXPECT_THAT(told_, ElementsAre(peer.mailbox(), peer.mailbox()));
}

TEST_F(MonitorContract, AUserIsToldWhenAThreadEndsWithItsMailbox) {
    Peer peer(Peer::Ending::LeavesItsMailbox);
    watch(peer.mailbox());

    std::thread ending([&peer] { peer.end(); });
    stopWhenGone(peer.mailbox());
    runUntilStopped();
    ending.join();
    runUntilIdle();

    EXPECT_THAT(told_, ElementsAre(peer.mailbox()));
}

TEST_F(MonitorContract, AUserIsToldOfAMailboxThatHadGoneBeforeButNotInsideTheCall) {
    Peer peer;
    peer.end();

    watch(peer.mailbox());
    EXPECT_THAT(told_, IsEmpty());
    stopWhenGone(peer.mailbox());
    runUntilStopped();

    EXPECT_THAT(told_, ElementsAre(peer.mailbox()));
}

TEST_F(MonitorContract, AUserThatUnmonitorsIsNotTold) {
    Peer peer;
    const unsigned int handle = watch(peer.mailbox());
    stopWhenGone(peer.mailbox());

    EXPECT_TRUE(monitor().unmonitor(handle));
    peer.end();
    runUntilStopped();

    EXPECT_THAT(told_, IsEmpty());
}

TEST_F(MonitorContract, NothingArrivesAfterTheLastUserUnmonitored) {
    Peer peer;
    const TraceCapture trace;

    monitor().unmonitor(watch(peer.mailbox()));
    peer.end();
    runUntilIdle();

    EXPECT_THAT(told_, IsEmpty());
    EXPECT_THAT(trace.events(), IsEmpty());
}

TEST_F(MonitorContract, AnIndicationThatCrossesTheUnmonitorIsIgnored) {
    Peer peer;
    const unsigned int handle = watch(peer.mailbox());
    const TraceCapture trace;

    peer.end();
    monitor().unmonitor(handle);
    runUntilIdle();

    EXPECT_THAT(told_, IsEmpty());
    EXPECT_THAT(trace.events(), IsEmpty());
}

TEST_F(MonitorContract, OnlyTheUsersOfTheMailboxThatWentAreTold) {
    Peer first;
    Peer second;
    watch(first.mailbox());
    watch(second.mailbox());

    second.end();
    stopWhenGone(second.mailbox());
    runUntilStopped();

    EXPECT_THAT(told_, ElementsAre(second.mailbox()));
}

TEST_F(MonitorContract, ACallbackMayMonitorTheMailboxThatWentOnceMore) {
    Peer peer;
    monitor().monitor(peer.mailbox(), [this](unsigned int mailbox) {
        watch(mailbox);
        stopWhenGone(mailbox);
    });

    peer.end();
    runUntilStopped();

    EXPECT_THAT(told_, ElementsAre(peer.mailbox()));
}

TEST_F(MonitorContract, ARegistrationMadeDuringTheDeliveryIsKeptWhenOldOnesEndInIt) {
    Peer peer;
    unsigned int handles[2] = {0, 0};
    for (const unsigned int own : {0U, 1U}) {
        handles[own] = monitor().monitor(peer.mailbox(), [&, own](unsigned int mailbox) {
            watch(mailbox);
            monitor().unmonitor(handles[1 - own]);
        });
    }

    peer.end();
    runUntilIdle();
    runUntilIdle();

    EXPECT_THAT(told_, ElementsAre(peer.mailbox()));
}

TEST_F(MonitorContract, ThreadsThatWatchTheSameMailboxAreEachToldOnTheirOwn) {
    Peer peer;
    std::promise<void> watching;
    std::optional<std::thread::id> toldOn;
    std::thread other([&] {
        Itc::createMailbox("other watcher");
        ItcMessageSubscriptionIf::getInstance().monitorItcFd(Itc::getFd());
        monitor().monitor(peer.mailbox(), [&toldOn](unsigned int) {
            toldOn = std::this_thread::get_id();
            EventLoopIf::getInstance()->stop();
        });
        watching.set_value();
        runUntilStopped();
    });
    const std::thread::id otherId = other.get_id();
    watching.get_future().wait();
    watch(peer.mailbox());
    stopWhenGone(peer.mailbox());

    peer.end();
    runUntilStopped();
    other.join();

    EXPECT_EQ(toldOn, otherId);
    EXPECT_THAT(told_, ElementsAre(peer.mailbox()));
}

TEST_F(MonitorContract, AThreadWithoutAMailboxRegistersAllTheSame) {
    const Peer peer;

    std::thread([&peer] {
        const unsigned int first = monitor().monitor(peer.mailbox(), [](unsigned int) {});
        const unsigned int second = monitor().monitor(peer.mailbox(), [](unsigned int) {});

        EXPECT_EQ(second, first + 1);
        EXPECT_TRUE(monitor().unmonitor(first));
        EXPECT_TRUE(monitor().unmonitor(second));
        EXPECT_FALSE(monitor().unmonitor(second));
    }).join();
}

TEST_F(MonitorContract, IndicationsAfterAResetAreUnhandledMessages) {
    Peer peer;
    watch(peer.mailbox());
    const TraceCapture trace({"ERROR"});

    ItcMailboxMonitorImpl::reset();
    peer.end();
    runUntilIdle();

    EXPECT_THAT(
        trace.messages("ERROR"),
        ElementsAre("Unhandled ITC message 0x1707091 from '-' received in mailbox 'watcher'"));
    EXPECT_THAT(told_, IsEmpty());
}

}  // namespace
