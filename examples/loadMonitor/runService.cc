#include "runService.h"

#include <itc.h>
#include <itc_admin.h>
#include <quoria/eventLoop/eventLoopIf.h>
#include <quoria/itcMessageSubscription/itcMessageSubscriptionIf.h>
#include <quoria/startup/startupRegistryIf.h>
#include <signal.h>
#include <sys/signalfd.h>

#include <chrono>
#include <cstdlib>
#include <iostream>

namespace LoadMonitor {

namespace {

using namespace std::chrono_literals;
using Quoria::EventLoop::V1::EventLoopIf;
using Quoria::ItcMessageSubscription::V1::ItcMessageSubscriptionIf;
using Quoria::StartupRegistry::V1::StartupRegistryIf;

// A blocked signal is read from a descriptor, as an event of the loop like any other. Threads that
// are made later inherit the mask, so that none of them is hit by the signal instead.
bool stopAtSigterm() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    if (pthread_sigmask(SIG_BLOCK, &signals, nullptr) != 0) {
        return false;
    }
    const int fd = signalfd(-1, &signals, SFD_CLOEXEC);  // the loop refuses what is none
    return EventLoopIf::getInstance()->addFdHandler(
               fd, EventLoopIf::EVENT_IN,
               [](int, unsigned int) { EventLoopIf::getInstance()->stop(); }) == EventLoopIf::OK;
}

}  // namespace

int runService(const char* processName) {
    if (!stopAtSigterm()) {
        std::cerr << processName << ": can't watch for SIGTERM\n";
        return EXIT_FAILURE;
    }
    if (itc_create_mailbox(processName, 0) == ITC_NO_MAILBOX) {
        std::cerr << processName << ": no mailbox: " << itc_error_text() << "\n";
        return EXIT_FAILURE;
    }
    if (ItcMessageSubscriptionIf::getInstance().monitorItcFd(itc_get_fd()) !=
        ItcMessageSubscriptionIf::OK) {
        std::cerr << processName << ": can't watch its mailbox\n";
        return EXIT_FAILURE;
    }
    if (!StartupRegistryIf::getInstance().startAllParticipants(5s)) {
        std::cerr << processName << ": a component can't work, so none is started\n";
        return EXIT_FAILURE;
    }
    const EventLoopIf::ReturnCode result = EventLoopIf::getInstance()->run();

    // What is left to do may take its time, a component that still writes to a slow disk for
    // instance. Clients must not wait for this process meanwhile: the next one serves.
    itc_delete_mailbox(itc_current_mbox());
    return result == EventLoopIf::OK ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace LoadMonitor
