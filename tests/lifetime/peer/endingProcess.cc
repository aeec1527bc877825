// A process that ends with everything in use: active objects at work and idle, timers and requests
// pending, commands of every kind registered, an asynchronous and a concurrent one of them running.
//
// usage: endingProcess WAY STATUS
#include <quoria/activeObject/activeObjectIf.h>
#include <quoria/command/commandIf.h>
#include <quoria/command/commandRegistryIf.h>
#include <quoria/eventLoop/eventLoopIf.h>
#include <quoria/itc/itcOperations.h>
#include <quoria/itcMailboxLocator/itcMailboxLocatorIf.h>
#include <quoria/itcMailboxMonitor/itcMailboxMonitorIf.h>
#include <quoria/itcMessageSubscription/itcMessageSubscriptionIf.h>
#include <quoria/startup/startupRegistrar.h>
#include <quoria/startup/startupRegistryIf.h>
#include <quoria/timer/timeoutReceiverIf.h>
#include <quoria/timer/timerManagerIf.h>

#include <pthread.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <future>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

namespace CommandTypes = Quoria::CommandTypes;
namespace Itc = Quoria::Itc;
using Quoria::ActiveObject::V1::ActiveObjectIf;
using Quoria::Command::V1::CommandIf;
using Quoria::CommandRegistry::V1::CommandExecutionJobIf;
using Quoria::CommandRegistry::V1::CommandRegistryIf;
using Quoria::EventLoop::V1::EventLoopIf;
using Quoria::ItcMailboxLocator::V1::ItcMailboxLocatorIf;
using Quoria::ItcMailboxMonitor::V1::ItcMailboxMonitorIf;
using Quoria::ItcMessageSubscription::V1::ItcMessageSubscriptionIf;
using Quoria::Startup::V1::StartupParticipantIf;
using Quoria::Startup::V1::StartupRegistrar;
using Quoria::StartupRegistry::V1::StartupRegistryIf;
using Quoria::Timer::V1::TimeoutReceiverIf;
using Quoria::Timer::V1::TimerManagerIf;

using Args = std::vector<std::string>;

class NoReceiver : public TimeoutReceiverIf {
public:
    void handleTimeout(unsigned int) override {}
};

// Shared objects that last as long as the process, whatever thread ends it.
template <typename T>
T& lasting() {
    static T* const object = new T;
    return *object;
}

struct Running {
    std::promise<void> concurrent;
    std::promise<void> asynchronous;
    std::promise<void> ending;
    std::shared_ptr<CommandExecutionJobIf> job;
};

void useTimers() {
    TimerManagerIf::getInstance().startTimer(std::chrono::hours(1), &lasting<NoReceiver>(), 1);
    TimerManagerIf::getInstance().startPeriodicalTimer(std::chrono::milliseconds(1),
                                                       &lasting<NoReceiver>(), 2);
}

void useMailbox(const char* name) {
    Itc::createMailbox(name);
    ItcMessageSubscriptionIf::getInstance().monitorItcFd(Itc::getFd());
    ItcMailboxLocatorIf::getInstance().locate("nobody", [](unsigned int) {});
    ItcMailboxMonitorIf::getInstance().monitor(Itc::currentMailbox(), [](unsigned int) {});
}

void startWorker() {
    useMailbox("worker");
    useTimers();
}

std::shared_ptr<ActiveObjectIf> makeWorker() {
    return ActiveObjectIf::create("worker", startWorker, {});
}

// One that nobody releases.
ActiveObjectIf* makeLastingWorker() {
    auto& workers = lasting<std::vector<std::shared_ptr<ActiveObjectIf>>>();
    workers.push_back(makeWorker());
    return workers.back().get();
}

void workForEver(ActiveObjectIf* activeObject) {
    activeObject->executeFunction([activeObject] { workForEver(activeObject); });
}

// Owned by the start-up registry, and so by a static object of the library.
class Component : public StartupParticipantIf {
public:
    void start() override {
        activeObject_->executeFunction([] {});
    }

private:
    const std::shared_ptr<ActiveObjectIf> activeObject_ = makeWorker();
};

const StartupRegistrar registrar([] { return std::make_shared<Component>(); });

// A static object of the program, destroyed after those of the library that came later.
std::shared_ptr<ActiveObjectIf> ownedStatically;

CommandTypes::CommandResultCode runUntilTheEnd(const Args&, std::ostream& out) {
    out << "half";
    lasting<Running>().concurrent.set_value();
    lasting<Running>().ending.get_future().wait();
    return CommandTypes::Success;
}

void keepJob(std::shared_ptr<CommandExecutionJobIf> job) {
    job->getOutStream() << "half";
    lasting<Running>().job = std::move(job);
    EventLoopIf::getInstance()->stop();
}

void startCommand(const std::string& name) {
    std::thread([name] {
        Itc::createMailbox("");
        itc_msg* found = Itc::alloc(sizeof(std::uint32_t), 0x7001);
        Itc::locateAsync(("RCI:" + name).c_str(), &found);
        const std::uint32_t filter[] = {1, 0x7001};
        Itc::wrap(Itc::receive(filter, Itc::kItcWaitForever));
        std::ostringstream out;
        CommandIf::create(name)->execute({}, out);
    }).detach();
}

void runCommands() {
    CommandRegistryIf* const registry = CommandRegistryIf::getInstance();
    registry->registerCommandHandler(
        "synchronous", [](const Args&, std::ostream&) { return CommandTypes::Success; }, false);
    registry->registerCommandHandler("concurrent", runUntilTheEnd, true);
    registry->registerAsynchCommandHandler("asynchronous", keepJob);
    // The end of the registry waits for the commands on its thread.
    std::atexit([] { lasting<Running>().ending.set_value(); });
    startCommand("concurrent");
    lasting<Running>().concurrent.get_future().wait();
    startCommand("asynchronous");
    EventLoopIf::getInstance()->run();
}

int end(const std::string& way, int status) {
    if (way == "return") {
        return status;
    }
    if (way == "exit") {
        std::exit(status);
    }
    if (way == "quickExit") {
        std::quick_exit(status);
    }
    if (way == "exitAtOnce") {
        _exit(status);
    }
    makeLastingWorker()->executeFunction([status] { std::exit(status); });
    if (way == "endOfMainThread") {
        pthread_exit(nullptr);
    }
    for (;;) {  // "exitOnActiveObject"
        pause();
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "usage: endingProcess WAY STATUS" << std::endl;
        return EXIT_FAILURE;
    }
    ownedStatically = makeWorker();
    makeLastingWorker()->executeFunction([] {});
    workForEver(makeLastingWorker());
    StartupRegistryIf::getInstance().startAllParticipants(std::chrono::seconds(1));
    useMailbox("main");
    useTimers();
    runCommands();
    return end(argv[1], std::stoi(argv[2]));
}
