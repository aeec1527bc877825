// storeLink.h: the way to the store. It may be there or not, and die at any moment.
#ifndef LOADMONITOR_STORELINK_H
#define LOADMONITOR_STORELINK_H

#include <itc.h>
#include <quoria/command/commandTypes.h>
#include <quoria/startup/startupParticipantIf.h>

#include <deque>
#include <memory>
#include <ostream>

#include "sample.h"

namespace LoadMonitor {

class StoreLink : public Quoria::Startup::V1::StartupParticipantIf {
public:
    // Begins to look for the store, and offers the command "link".
    void start() override;

    // Sends a sample to the store. While there is none, the newest thousand are kept for it.
    void deliver(const Sample& sample);

private:
    void findStore();
    void onStoreFound(itc_mbox_id_t store);
    void onStoreGone();
    void send(const Sample& sample) const;
    void tell(std::ostream& out) const;

    itc_mbox_id_t store_ = ITC_NO_MAILBOX;
    unsigned int timesFound_ = 0;
    std::deque<Sample> waiting_;
};

// The one of this process.
std::shared_ptr<StoreLink> storeLink();

}  // namespace LoadMonitor

#endif
