// runningHandler.h: keeps a handler alive that is removed from its table during its own call.
//
// Private header of itcMessageSubscription.
//
// Handlers are called in place, in the table's node. Whoever takes a node out of the table hands it
// to RunningHandler::keep(), which holds it until the calls that use it have returned and otherwise
// lets it go at once. Each thread sees its own calls only.
#ifndef QUORIA_ITCMESSAGESUBSCRIPTION_RUNNINGHANDLER_H
#define QUORIA_ITCMESSAGESUBSCRIPTION_RUNNINGHANDLER_H

#include <quoria/itcMessageSubscription/itcMessageSubscriptionIf.h>

#include <unordered_map>

namespace Quoria::ItcMessageSubscription::V1 {

// On the stack of the call for as long as the handler runs.
class RunningHandler {
public:
    using Node = std::unordered_map<unsigned int, MsgHandler>::node_type;

    explicit RunningHandler(const MsgHandler& handler);
    ~RunningHandler();
    RunningHandler(const RunningHandler&) = delete;
    RunningHandler& operator=(const RunningHandler&) = delete;

    static void keep(Node node);

private:
    const MsgHandler& handler_;
    RunningHandler* const outer_;  // a handler may run the event loop and so call others, or itself
    Node kept_;
};

}  // namespace Quoria::ItcMessageSubscription::V1

#endif
