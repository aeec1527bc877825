// The fields of the records of the message subscription, the mailbox locator, the mailbox monitor
// and the start-up registry.

#include <quoria/itc/itcMessages.h>
#include <quoria/startup/startupRegistrar.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <type_traits>
#include <unordered_map>
#include <vector>

#include "fields.h"
#include "initResponderImpl.h"
#include "itcMailboxLocatorImpl.h"
#include "itcMailboxMonitorImpl.h"
#include "itcMessageSubscriptionImpl.h"
#include "startupRegistryImpl.h"

namespace V1 = Quoria::Startup::V1;
namespace V2 = Quoria::Startup::V2;
using Quoria::ItcMailboxLocator::V1::ItcMailboxLocatorImpl;
using Quoria::ItcMailboxMonitor::V1::ItcMailboxMonitorImpl;
using Quoria::ItcMessageSubscription::V1::ItcMessageSubscriptionImpl;
using Quoria::StartupRegistry::V1::StartupRegistryImpl;
using MailboxCallback = std::function<void(unsigned int)>;
using MsgHandler = std::function<void(const std::shared_ptr<itc_msg>&)>;

struct SubscriptionFields {
    friend Places placesOf(SubscriptionFields);
};
template struct Fields<
    SubscriptionFields, Table, Field<pthread_t, &ItcMessageSubscriptionImpl::ownerThread_>,
    Field<int, &ItcMessageSubscriptionImpl::fd_>,
    Field<std::unordered_map<unsigned int, MsgHandler>, &ItcMessageSubscriptionImpl::handlers_>>;

struct LocatorFields {
    friend Places placesOf(LocatorFields);
};
template struct Fields<
    LocatorFields, Table, Field<unsigned int, &ItcMailboxLocatorImpl::lastIdentity_>,
    Field<std::unordered_map<unsigned int, MailboxCallback>, &ItcMailboxLocatorImpl::pending_>>;

struct MonitorUserFields {
    friend Places placesOf(MonitorUserFields);
};
template struct Fields<MonitorUserFields, Nothing,
                       Field<unsigned int, &ItcMailboxMonitorImpl::UserData::mailbox>,
                       Field<MailboxCallback, &ItcMailboxMonitorImpl::UserData::callback>>;

struct ItcMonitorFields {
    friend Places placesOf(ItcMonitorFields);
};
template struct Fields<ItcMonitorFields, Nothing,
                       Field<unsigned int, &ItcMailboxMonitorImpl::ItcMonitorData::itcMonitorId>,
                       Field<unsigned int, &ItcMailboxMonitorImpl::ItcMonitorData::users>>;

struct MonitorFields {
    friend Places placesOf(MonitorFields);
};
template struct Fields<
    MonitorFields, Table,
    Field<std::unordered_map<unsigned int, ItcMailboxMonitorImpl::ItcMonitorData>,
          &ItcMailboxMonitorImpl::itcMonitors_>,
    Field<std::unordered_map<unsigned int, ItcMailboxMonitorImpl::UserData>,
          &ItcMailboxMonitorImpl::users_>>;

struct InitResponderFields {
    friend Places placesOf(InitResponderFields);
};
template struct Fields<
    InitResponderFields, Table, Field<std::string, &V2::InitResponderImpl::name_>,
    Field<std::chrono::steady_clock::time_point, &V2::InitResponderImpl::deadline_>,
    Field<std::promise<bool>, &V2::InitResponderImpl::promise_>,
    Field<std::future<bool>, &V2::InitResponderImpl::future_>>;

template <typename Participant>
using Creators = std::vector<std::function<std::shared_ptr<Participant>()>>;
template <typename Participant>
using Participants = std::vector<std::shared_ptr<Participant>>;
struct StartupRegistryFields {
    friend Places placesOf(StartupRegistryFields);
};
template struct Fields<
    StartupRegistryFields, Nothing,
    Field<Creators<V1::StartupParticipantIf>, &StartupRegistryImpl::v1Creators_>,
    Field<Participants<V1::StartupParticipantIf>, &StartupRegistryImpl::v1Participants_>,
    Field<Creators<V2::StartupParticipantIf>, &StartupRegistryImpl::v2Creators_>,
    Field<Participants<V2::StartupParticipantIf>, &StartupRegistryImpl::v2Participants_>>;

namespace {

TEST(ItcMessageSubscriptionRecords, HaveTheirFieldsInOrder) {
    expectInOrderAndNoMore(placesOf(SubscriptionFields()));
}

TEST(ItcMailboxLocatorRecords, HaveTheirFieldsInOrder) {
    expectInOrderAndNoMore(placesOf(LocatorFields()));
}

TEST(ItcMailboxMonitorRecords, HaveTheirFieldsInOrder) {
    expectInOrderAndNoMore(placesOf(MonitorUserFields()));
    expectInOrderAndNoMore(placesOf(ItcMonitorFields()));
    expectInOrderAndNoMore(placesOf(MonitorFields()));
}

TEST(StartupRecords, HaveTheirFieldsInOrder) {
    expectInOrder(placesOf(InitResponderFields()));
    expectInOrderAndNoMore(placesOf(StartupRegistryFields()));
}

TEST(StartupRecords, OfARegistrarHoldNothing) {
    EXPECT_TRUE(std::is_empty_v<V1::StartupRegistrar>);
    EXPECT_TRUE(std::is_empty_v<V2::StartupRegistrar>);
}

TEST(ItcIndications, HaveTheirNumberFirstAndTheIdentityBehindIt) {
    EXPECT_EQ(Quoria::Itc::kLocateIndMsgNo, 0x01707090U);
    EXPECT_EQ(Quoria::Itc::kMonitorIndMsgNo, 0x01707091U);
    EXPECT_EQ(offsetof(Quoria::Itc::LocateIndMsg, msgno), 0U);
    EXPECT_EQ(offsetof(Quoria::Itc::LocateIndMsg, identity), 4U);
    EXPECT_EQ(offsetof(Quoria::Itc::MonitorIndMsg, msgno), 0U);
}

}  // namespace
