// A shared object that uses libquoria on the thread of whoever loads it, and takes back all that it
// has handed over. What it can't take back, the per-thread instances, stays with the thread.
#include <quoria/activeObject/activeObjectIf.h>
#include <quoria/command/commandRegistryIf.h>
#include <quoria/eventLoop/eventLoopIf.h>
#include <quoria/itc/itcOperations.h>
#include <quoria/itcMailboxLocator/itcMailboxLocatorIf.h>
#include <quoria/itcMailboxMonitor/itcMailboxMonitorIf.h>
#include <quoria/itcMessageSubscription/itcMessageSubscriptionIf.h>
#include <quoria/timer/timeoutReceiverIf.h>
#include <quoria/timer/timerManagerIf.h>
#include <quoria/trace/trace.h>

#include <chrono>
#include <cstdint>
#include <future>

namespace {

namespace Itc = Quoria::Itc;
using Quoria::ActiveObject::V1::ActiveObjectIf;
using Quoria::CommandRegistry::V1::CommandRegistryIf;
using Quoria::EventLoop::V1::EventLoopIf;
using Quoria::ItcMailboxLocator::V1::ItcMailboxLocatorIf;
using Quoria::ItcMailboxMonitor::V1::ItcMailboxMonitorIf;
using Quoria::ItcMessageSubscription::V1::ItcMessageSubscriptionIf;
using Quoria::Timer::V1::TimeoutReceiverIf;
using Quoria::Timer::V1::TimerManagerIf;
using std::chrono::hours;
using std::chrono::milliseconds;

constexpr unsigned int kMsgNo = 0x7001;

// Counts what the loop delivers and stops it with the last.
class Deliveries : public TimeoutReceiverIf {
public:
    void handleTimeout(unsigned int) override { note(); }
    void note() {
        if (--missing_ == 0) {
            EventLoopIf::getInstance()->stop();
        }
    }
    bool areComplete() const { return missing_ == 0; }

private:
    int missing_ = 4;  // a timeout, a located mailbox, a dead mailbox and a message
};

// A mailbox that has ended, which is known as soon as somebody monitors it.
std::uint32_t deadMailbox() {
    return std::async(std::launch::async,
                      [] {
                          const std::uint32_t mailbox = Itc::createMailbox("");
                          Itc::deleteMailbox(mailbox);
                          return mailbox;
                      })
        .get();
}

bool runLoop() {
    auto& subscription = ItcMessageSubscriptionIf::getInstance();
    auto& timers = TimerManagerIf::getInstance();
    Deliveries deliveries;
    bool isDone = subscription.addMsgHandler(kMsgNo, [&deliveries](const auto&) {
        deliveries.note();
    }) == ItcMessageSubscriptionIf::OK;
    itc_msg* msg = Itc::alloc(sizeof(std::uint32_t), kMsgNo);
    Itc::send(&msg, Itc::currentMailbox(), Itc::kItcOwnMailbox);
    timers.startTimer(hours(1), &deliveries, 1);
    timers.startTimer(milliseconds(1), &deliveries, 2);
    const auto onMailbox = [&deliveries](unsigned int) { deliveries.note(); };
    ItcMailboxLocatorIf::getInstance().locate("module", onMailbox);
    ItcMailboxMonitorIf::getInstance().monitor(deadMailbox(), onMailbox);

    isDone = EventLoopIf::getInstance()->run() == EventLoopIf::OK && isDone;

    isDone = timers.cancelTimer(&deliveries, 1) == TimerManagerIf::OK && isDone;
    subscription.removeMsgHandler(kMsgNo);
    return isDone && deliveries.areComplete();
}

bool useCommands() {
    CommandRegistryIf* const registry = CommandRegistryIf::getInstance();
    const auto handler = [](const auto&, auto&) { return Quoria::CommandTypes::Success; };
    const bool isRegistered =
        registry->registerCommandHandler("module", handler, false) == Quoria::CommandTypes::Success;
    return registry->deregisterCommandHandler("module") == Quoria::CommandTypes::Success &&
           isRegistered;
}

bool useActiveObject() {
    std::promise<void> ran;
    const auto activeObject = ActiveObjectIf::create("module", nullptr, {});
    activeObject->executeFunction([&ran] { ran.set_value(); });
    ran.get_future().get();
    return true;
}

}  // namespace

// The whole life of the module on the calling thread. Its mailbox stays, for the next time.
extern "C" __attribute__((visibility("default"))) bool useLibrary() {
    if (Itc::currentMailbox() == Itc::kItcNoMailbox) {
        Itc::createMailbox("module");
        ItcMessageSubscriptionIf::getInstance().monitorItcFd(Itc::getFd());
    }
    QTRACE_TRACE1("module", "in use");
    return runLoop() && useCommands() && useActiveObject();
}
