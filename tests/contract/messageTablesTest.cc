// The places of the virtual operations of the message subscription, the mailbox locator and the
// mailbox monitor.

#include <quoria/itcMailboxLocator/itcMailboxLocatorIf.h>
#include <quoria/itcMailboxMonitor/itcMailboxMonitorIf.h>
#include <quoria/itcMessageSubscription/itcMessageSubscriptionIf.h>

#include <gmock/gmock.h>

#include <functional>
#include <string>

#include "virtualTable.h"

namespace {

using Quoria::ItcMessageSubscription::V1::ItcMessageSubscriptionIf;
using Quoria::ItcMessageSubscription::V1::MsgHandler;
using testing::ElementsAre;

class RecordedSubscription : public Recorder<ItcMessageSubscriptionIf> {
public:
    ReturnCode monitorItcFd(int fd) override {
        note("monitorItcFd", fd);
        return ALREADY_EXISTS;
    }
    ReturnCode addMsgHandler(unsigned int msgNo, const MsgHandler& handler) override {
        note("addMsgHandler", msgNo);
        handler(nullptr);
        return NOT_FOUND;
    }
    ReturnCode removeMsgHandler(unsigned int msgNo) override {
        note("removeMsgHandler", msgNo);
        return WRONG_THREAD;
    }
    ReturnCode getMsgHandler(unsigned int msgNo, MsgHandler& handler) const override {
        note("getMsgHandler", msgNo);
        handler = [](const auto&) { note("fetched"); };
        return OS_ERROR;
    }
};

using ItcMessageSubscriptionTable = VirtualTable;

TEST_F(ItcMessageSubscriptionTable, HasFourOperationsInTheirOrder) {
    RecordedSubscription subscription;
    MsgHandler handler = [](const auto&) { note("added"); };

    EXPECT_EQ(Operation<unsigned int(int)>::callAt(0, &subscription, 7), 1U);
    EXPECT_EQ((Operation<unsigned int(unsigned int, const MsgHandler&)>::callAt(1, &subscription, 8,
                                                                                handler)),
              2U);
    EXPECT_EQ(Operation<unsigned int(unsigned int)>::callAt(2, &subscription, 9), 3U);
    EXPECT_EQ(
        (Operation<unsigned int(unsigned int, MsgHandler&)>::callAt(3, &subscription, 10, handler)),
        4U);
    handler(nullptr);

    EXPECT_THAT(takeCalls(), ElementsAre("monitorItcFd(7)", "addMsgHandler(8)", "added()",
                                         "removeMsgHandler(9)", "getMsgHandler(10)", "fetched()"));
}

TEST_F(ItcMessageSubscriptionTable, EndsWithTheDestructors) {
    EXPECT_THAT(destroyThroughTable<RecordedSubscription>(4),
                ElementsAre("destroyed()", "-", "destroyed()", "freed()"));
}

using MailboxCallback = std::function<void(unsigned int)>;

class RecordedLocator : public Recorder<Quoria::ItcMailboxLocator::V1::ItcMailboxLocatorIf> {
public:
    void locate(const std::string& name, const MailboxCallback& callback) override {
        note("locate", name);
        callback(5);
    }
};

using ItcMailboxLocatorTable = VirtualTable;

TEST_F(ItcMailboxLocatorTable, HasOneOperation) {
    RecordedLocator locator;

    Operation<void(const std::string&, const MailboxCallback&)>::callAt(
        0, &locator, "server", [](unsigned int mailbox) { note("found", mailbox); });

    EXPECT_THAT(takeCalls(), ElementsAre("locate(server)", "found(5)"));
}

TEST_F(ItcMailboxLocatorTable, EndsWithTheDestructors) {
    EXPECT_THAT(destroyThroughTable<RecordedLocator>(1),
                ElementsAre("destroyed()", "-", "destroyed()", "freed()"));
}

class RecordedMonitor : public Recorder<Quoria::ItcMailboxMonitor::V1::ItcMailboxMonitorIf> {
public:
    unsigned int monitor(unsigned int mailbox, const MailboxCallback& callback) override {
        note("monitor", mailbox);
        callback(mailbox);
        return 6;
    }
    bool unmonitor(unsigned int monitorId) override {
        note("unmonitor", monitorId);
        return true;
    }
};

using ItcMailboxMonitorTable = VirtualTable;

TEST_F(ItcMailboxMonitorTable, HasTwoOperationsInTheirOrder) {
    RecordedMonitor monitor;

    EXPECT_EQ((Operation<unsigned int(unsigned int, const MailboxCallback&)>::callAt(
                  0, &monitor, 5, [](unsigned int mailbox) { note("gone", mailbox); })),
              6U);
    EXPECT_TRUE(Operation<bool(unsigned int)>::callAt(1, &monitor, 6));

    EXPECT_THAT(takeCalls(), ElementsAre("monitor(5)", "gone(5)", "unmonitor(6)"));
}

TEST_F(ItcMailboxMonitorTable, EndsWithTheDestructors) {
    EXPECT_THAT(destroyThroughTable<RecordedMonitor>(2),
                ElementsAre("destroyed()", "-", "destroyed()", "freed()"));
}

}  // namespace
