#include "runningHandler.h"

#include <utility>

namespace Quoria::ItcMessageSubscription::V1 {

namespace {

thread_local RunningHandler* innermost = nullptr;

}  // namespace

RunningHandler::RunningHandler(const MsgHandler& handler) : handler_(handler), outer_(innermost) {
    innermost = this;
}

RunningHandler::~RunningHandler() {
    innermost = outer_;
}

void RunningHandler::keep(Node node) {
    RunningHandler* outermostUser = nullptr;
    for (RunningHandler* running = innermost; running != nullptr; running = running->outer_) {
        if (&running->handler_ == &node.mapped()) {
            outermostUser = running;
        }
    }
    if (outermostUser != nullptr) {
        outermostUser->kept_ = std::move(node);
    }
}

}  // namespace Quoria::ItcMessageSubscription::V1
