// demoService.cc: a service with a command of every kind. demo.sh runs it and its clients.
//
//   sum         synchronous: runs on the main thread, its return value is the result
//   countdown   concurrent: runs on a thread of its own and may take its time
//   backup      asynchronous: handed to a worker, which finishes it when the work is done
//   launch      fails
//   ticker      asynchronous: goes on until its client has gone
//   status      tells what the service knows of its tickers

#include <itc.h>
#include <itc_admin.h>
#include <quoria/activeObject/activeObjectIf.h>
#include <quoria/command/commandRegistryIf.h>
#include <quoria/eventLoop/eventLoopIf.h>
#include <quoria/itcMailboxMonitor/itcMailboxMonitorIf.h>
#include <quoria/itcMessageSubscription/itcMessageSubscriptionIf.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <charconv>
#include <chrono>
#include <iostream>
#include <optional>
#include <thread>

namespace {

using namespace std::chrono_literals;
using namespace Quoria::CommandTypes;

using Quoria::ActiveObject::V1::ActiveObjectIf;
using Quoria::CommandRegistry::V1::CommandExecutionJobIf;
using Quoria::CommandRegistry::V1::CommandRegistryIf;
using Quoria::EventLoop::V1::EventLoopIf;
using Quoria::ItcMailboxMonitor::V1::ItcMailboxMonitorIf;
using Quoria::ItcMessageSubscription::V1::ItcMessageSubscriptionIf;

using Arguments = std::vector<std::string>;

std::optional<int> toNumber(const std::string& text) {
    int number = 0;
    const char* end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, number);
    const bool isNumber = result.ec == std::errc() && result.ptr == end;
    return isNumber ? std::optional(number) : std::nullopt;
}

// --- Synchronous: nothing else happens on this thread until it returns.

CommandResultCode sum(const Arguments& args, std::ostream& out) {
    long total = 0;
    for (const std::string& arg : args) {
        const std::optional<int> number = toNumber(arg);
        if (!number) {
            out << "sum: '" << arg << "' is no number\n";
            return InvalidArguments;
        }
        total += *number;
    }
    out << total << "\n";
    return Success;
}

CommandResultCode launch(const Arguments&, std::ostream& out) {
    out << "launch: there is no rocket\n";
    return Failed;
}

// --- Concurrent: the client sees each line when it is written.

CommandResultCode countdown(const Arguments& args, std::ostream& out) {
    const std::optional<int> from = args.size() == 1 ? toNumber(args[0]) : std::nullopt;
    if (!from) {
        out << "usage: countdown NUMBER\n";
        return InvalidArguments;
    }
    for (int left = *from; left > 0; --left) {
        out << std::to_string(left) + "\n";
        std::this_thread::sleep_for(200ms);
    }
    out << "zero\n";
    return Success;
}

// --- Asynchronous: the handler returns, the job goes on elsewhere and ends with done().

void backup(ActiveObjectIf& worker, const std::shared_ptr<CommandExecutionJobIf>& job) {
    job->getOutStream() << "backup: handed to the worker\n";
    worker.executeFunction([job] {
        std::this_thread::sleep_for(300ms);
        job->getOutStream() << "backup: done by thread " + std::to_string(gettid()) + "\n";
        job->done(Success);
    });
}

// --- Asynchronous without an end: a timer of the event loop writes to the client until that has
// gone.
//
// What a job writes to a client that has gone is dropped without a word. Who wants to know asks the
// mailbox monitor; it tells this service on the very occasion on which the library drops the
// connection. The client therefore gives the name of its mailbox, which for rci is "rci:" + its
// pid.

struct Tickers {
    int running = 0;
    int abandoned = 0;
};

void startTicker(Tickers& tickers, const std::shared_ptr<CommandExecutionJobIf>& job) {
    const Arguments& args = job->getArgs();
    const itc_mbox_id_t client = args.size() == 1 ? itc_locate(args[0].c_str()) : ITC_NO_MAILBOX;
    const int timer = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK);
    const itimerspec every100ms{{0, 100'000'000}, {0, 1}};
    if (client == ITC_NO_MAILBOX || timerfd_settime(timer, 0, &every100ms, nullptr) == -1) {
        job->getOutStream() << "usage: ticker MAILBOX_OF_THE_CLIENT\n";
        job->done(InvalidArguments);
        close(timer);
        return;
    }

    EventLoopIf::getInstance()->addFdHandler(
        timer, EventLoopIf::EVENT_IN, [job, ticks = 0](int fd, unsigned int) mutable {
            std::uint64_t expirations = 0;
            if (read(fd, &expirations, sizeof expirations) == sizeof expirations) {
                job->getOutStream() << "tick " + std::to_string(++ticks) + "\n";
            }
        });
    ++tickers.running;

    ItcMailboxMonitorIf::getInstance().monitor(client, [&tickers, timer](unsigned int) {
        EventLoopIf::getInstance()->removeFdHandler(timer);
        close(timer);
        --tickers.running;
        ++tickers.abandoned;
    });
}

CommandResultCode status(const Tickers& tickers, std::ostream& out) {
    out << "tickers: " << tickers.running << " running, " << tickers.abandoned
        << " abandoned by their clients\n";
    return Success;
}

// --- The process: SIGTERM becomes an event of the loop like any other.

bool stopAtSigterm() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    if (pthread_sigmask(SIG_BLOCK, &signals, nullptr) != 0) {
        return false;
    }
    const int fd = signalfd(-1, &signals, SFD_CLOEXEC);
    return EventLoopIf::getInstance()->addFdHandler(
               fd, EventLoopIf::EVENT_IN,
               [](int, unsigned int) { EventLoopIf::getInstance()->stop(); }) == EventLoopIf::OK;
}

}  // namespace

int main() {
    // Before the first thread is made, which inherits the signal mask.
    if (!stopAtSigterm()) {
        std::cerr << "demoService: can't watch for SIGTERM\n";
        return 1;
    }
    if (itc_create_mailbox("demoService", 0) == ITC_NO_MAILBOX) {
        std::cerr << "demoService: can't create its mailbox: " << itc_error_text() << "\n";
        return 1;
    }
    ItcMessageSubscriptionIf::getInstance().monitorItcFd(itc_get_fd());

    const std::shared_ptr<ActiveObjectIf> worker = ActiveObjectIf::create("worker", nullptr, {});
    if (worker == nullptr) {
        std::cerr << "demoService: can't start its worker\n";
        return 1;
    }
    Tickers tickers;

    CommandRegistryIf* registry = CommandRegistryIf::getInstance();
    registry->registerCommandHandler("sum", sum, false);
    registry->registerCommandHandler("launch", launch, false);
    registry->registerCommandHandler(
        "status", [&tickers](const Arguments&, std::ostream& out) { return status(tickers, out); },
        false);
    registry->registerCommandHandler("countdown", countdown, true);
    registry->registerAsynchCommandHandler("backup",
                                           [&worker](const auto& job) { backup(*worker, job); });
    registry->registerAsynchCommandHandler(
        "ticker", [&tickers](const auto& job) { startTicker(tickers, job); });

    return EventLoopIf::getInstance()->run() == EventLoopIf::OK ? 0 : 1;
}
