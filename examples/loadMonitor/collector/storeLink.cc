#include "storeLink.h"

#include <quoria/command/commandRegistryIf.h>
#include <quoria/itcMailboxLocator/itcMailboxLocatorIf.h>
#include <quoria/itcMailboxMonitor/itcMailboxMonitorIf.h>
#include <quoria/startup/startupRegistrar.h>

#include <string>

namespace LoadMonitor {

namespace {

using namespace Quoria::CommandTypes;
using Quoria::CommandRegistry::V1::CommandRegistryIf;
using Quoria::ItcMailboxLocator::V1::ItcMailboxLocatorIf;
using Quoria::ItcMailboxMonitor::V1::ItcMailboxMonitorIf;

constexpr std::size_t kMostWaiting = 1000;

const Quoria::Startup::V1::StartupRegistrar registrar(storeLink);

}  // namespace

std::shared_ptr<StoreLink> storeLink() {
    static const auto link = std::make_shared<StoreLink>();
    return link;
}

void StoreLink::start() {
    findStore();
    CommandRegistryIf::getInstance()->registerCommandHandler(
        "link",
        [this](const auto&, std::ostream& out) {
            tell(out);
            return Success;
        },
        false);
}

void StoreLink::deliver(const Sample& sample) {
    if (store_ != ITC_NO_MAILBOX) {
        send(sample);
        return;
    }
    if (waiting_.size() == kMostWaiting) {
        waiting_.pop_front();
    }
    waiting_.push_back(sample);
}

// The answer comes when a mailbox takes the name, in a second or in a year.
void StoreLink::findStore() {
    ItcMailboxLocatorIf::getInstance().locate(kStoreName,
                                              [this](unsigned int store) { onStoreFound(store); });
}

// A store that has died since is no special case: the monitor tells of it like of any later death.
void StoreLink::onStoreFound(itc_mbox_id_t store) {
    store_ = store;
    ++timesFound_;
    ItcMailboxMonitorIf::getInstance().monitor(store, [this](unsigned int) { onStoreGone(); });
    for (const Sample& sample : waiting_) {
        send(sample);
    }
    waiting_.clear();
}

void StoreLink::onStoreGone() {
    store_ = ITC_NO_MAILBOX;
    findStore();
}

// What is sent to a store that has just died is lost. That does for samples; a sender who can't
// afford it keeps a copy until the receiver has answered.
void StoreLink::send(const Sample& sample) const {
    itc_msg* msg = itc_alloc(sizeof(SampleMsg), kSampleMsgNo);
    if (msg != nullptr) {
        reinterpret_cast<SampleMsg*>(msg)->sample = sample;
        itc_send(&msg, store_, ITC_OWN_MAILBOX);
    }
}

void StoreLink::tell(std::ostream& out) const {
    const char* state = store_ == ITC_NO_MAILBOX ? "none" : "there";
    out << std::string("store: ") + state + ", stores found: " + std::to_string(timesFound_) +
               ", samples waiting: " + std::to_string(waiting_.size()) + "\n";
}

}  // namespace LoadMonitor
