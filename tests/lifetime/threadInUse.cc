#include "threadInUse.h"

#include "eventLoopImpl.h"
#include "itcMailboxLocatorImpl.h"
#include "itcMailboxMonitorImpl.h"
#include "itcMessageSubscriptionImpl.h"
#include "rciServer.h"
#include "timerManagerImpl.h"

#include <quoria/command/commandRegistryIf.h>
#include <quoria/itc/itcOperations.h>
#include <quoria/timer/timeoutReceiverIf.h>

#include <chrono>
#include <filesystem>
#include <iterator>
#include <map>
#include <string>
#include <thread>

namespace QuoriaTest {

namespace {

namespace CommandTypes = Quoria::CommandTypes;
namespace Itc = Quoria::Itc;
using Quoria::CommandRegistry::Backend::RciServer;
using Quoria::CommandRegistry::V1::CommandRegistryIf;
using Quoria::EventLoop::V1::EventLoopIf;
using Quoria::EventLoop::V1::EventLoopImpl;
using Quoria::ItcMailboxLocator::V1::ItcMailboxLocatorImpl;
using Quoria::ItcMailboxMonitor::V1::ItcMailboxMonitorImpl;
using Quoria::ItcMessageSubscription::V1::ItcMessageSubscriptionImpl;
using Quoria::Timer::V1::TimeoutReceiverIf;
using Quoria::Timer::V1::TimerManagerImpl;
using std::chrono::hours;
using std::chrono::milliseconds;

constexpr unsigned int kMsgNo = 0x7001;

struct Instance {
    void (*make)();
    void (*reset)();
};

template <auto get, auto reset>
constexpr Instance kInstance{[] { static_cast<void>(get()); }, reset};

const std::map<char, Instance> kInstances{
    {'c', kInstance<&RciServer::getThreadLocalInstance, &RciServer::reset>},
    {'l', kInstance<&EventLoopImpl::getInstance, &EventLoopImpl::reset>},
    {'m', kInstance<&ItcMailboxMonitorImpl::getInstance, &ItcMailboxMonitorImpl::reset>},
    {'o', kInstance<&ItcMailboxLocatorImpl::getInstance, &ItcMailboxLocatorImpl::reset>},
    {'s', kInstance<&ItcMessageSubscriptionImpl::getInstance, &ItcMessageSubscriptionImpl::reset>},
    {'t', kInstance<&TimerManagerImpl::getInstance, &TimerManagerImpl::reset>},
};

std::uint32_t mainMailbox = Itc::kItcNoMailbox;

// Stops the loop at the first timeout, which every thread waits for.
class StoppingReceiver : public TimeoutReceiverIf {
public:
    void handleTimeout(unsigned int) override { EventLoopIf::getInstance()->stop(); }
};

void runLoopOnce() {
    StoppingReceiver stopping;
    TimerManagerImpl::getInstance().startTimer(milliseconds(0), &stopping, 0);
    EventLoopIf::getInstance()->run();
}

void leaveTimersPending(TimeoutReceiverIf& receiver) {
    auto& timers = TimerManagerImpl::getInstance();
    timers.startTimer(hours(1), &receiver, 1);
    timers.startTimer(milliseconds(0), &receiver, 2);
    timers.startPeriodicalTimer(hours(2), &receiver, 1000);
}

void leaveCallbacksPending(Traces& traces) {
    const auto call = [&traces, kept = traces.kept] { ++traces.calls; };
    const auto callOfMailbox = [call](unsigned int) { call(); };
    EventLoopIf::getInstance()->scheduleEvent(call);
    ItcMessageSubscriptionImpl::getInstance().addMsgHandler(kMsgNo,
                                                            [call](const auto&) { call(); });
    ItcMailboxLocatorImpl::getInstance().locate("nobody", callOfMailbox);
    ItcMailboxLocatorImpl::getInstance().locate("main", callOfMailbox);
    ItcMailboxMonitorImpl::getInstance().monitor(mainMailbox, callOfMailbox);
    CommandRegistryIf* const registry = CommandRegistryIf::getInstance();
    // The names of a thread that has ended stay taken.
    const std::string mailbox = std::to_string(Itc::currentMailbox());
    registry->registerCommandHandler(
        "synchronous" + mailbox,
        [call](const auto&, auto&) {
            call();
            return CommandTypes::Success;
        },
        false);
    registry->registerAsynchCommandHandler("asynchronous" + mailbox,
                                           [call](const auto&) { call(); });
    itc_msg* msg = Itc::alloc(sizeof(std::uint32_t), kMsgNo);
    Itc::send(&msg, Itc::currentMailbox(), Itc::kItcOwnMailbox);
}

}  // namespace

Order firstOrder() {
    Order letters;
    for (const auto& [letter, instance] : kInstances) {
        letters += letter;
    }
    return letters;
}

void prepareProcess() {
    mainMailbox = Itc::createMailbox("main");
}

void makeKeys(const Order& order) {
    for (const char letter : order) {
        kInstances.at(letter).reset();
    }
}

void openWhatStays() {
    CommandRegistryIf::getInstance()->registerCommandHandler(
        "concurrent", [](const auto&, auto&) { return CommandTypes::Success; }, true);
    itc_msg* found = Itc::alloc(sizeof(std::uint32_t), kMsgNo);
    Itc::locateAsync("RCI:concurrent", &found);
    const std::uint32_t filter[] = {1, kMsgNo};
    Itc::wrap(Itc::receive(filter, Itc::kItcWaitForever));
    // itc keeps what a thread has waited with, for the next one.
    std::thread([] {
        Itc::createMailbox("");
        Itc::getFd();
    }).join();
}

void useThread(const Order& order, Traces& traces) {
    Itc::createMailbox("worker");
    for (const char letter : order) {
        kInstances.at(letter).make();
    }
    ItcMessageSubscriptionImpl::getInstance().monitorItcFd(Itc::getFd());
    runLoopOnce();
    leaveTimersPending(traces);
    leaveCallbacksPending(traces);
}

std::size_t countDescriptors() {
    const std::filesystem::directory_iterator descriptors("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(descriptors), end(descriptors)));
}

}  // namespace QuoriaTest
