// intake.cc: the component that takes the samples that collectors send.

#include <itc.h>
#include <itc_admin.h>
#include <quoria/itcMessageSubscription/itcMessageSubscriptionIf.h>
#include <quoria/startup/startupRegistrar.h>

#include <iostream>
#include <utility>

#include "sampleHistory.h"

namespace LoadMonitor {

namespace {

using Quoria::ItcMessageSubscription::V1::ItcMessageSubscriptionIf;
using Quoria::Startup::V1::StartupParticipantIf;
using Quoria::Startup::V1::StartupRegistrar;

// A V1 component: nothing has to be prepared for it, and nothing that could keep the process from
// starting.
class Intake : public StartupParticipantIf {
public:
    explicit Intake(std::shared_ptr<SampleHistory> history) : history_(std::move(history)) {}

    // The name by which others find the store comes last, when all is ready: whoever finds it may
    // send at once.
    void start() override {
        ItcMessageSubscriptionIf::getInstance().addMsgHandler(
            kSampleMsgNo, [this](const std::shared_ptr<itc_msg>& msg) { onSample(*msg); });
        if (!itc_add_name(itc_current_mbox(), kStoreName)) {
            std::cerr << "intake: nobody will find the store: " << itc_error_text() << "\n";
        }
    }

private:
    void onSample(const itc_msg& msg) {
        if (itc_size(&msg) == sizeof(SampleMsg)) {
            history_->add(reinterpret_cast<const SampleMsg&>(msg).sample);
        }
    }

    const std::shared_ptr<SampleHistory> history_;
};

const StartupRegistrar registrar([] { return std::make_shared<Intake>(sampleHistory()); });

}  // namespace

}  // namespace LoadMonitor
