// From SIGKILL of a process with a mailbox to the moment when a watcher knows, in nanoseconds, at
// the median and at the 99th percentile.
//
//   death itc|pidfd pinned|free <kills>

#include "crew.h"
#include "operation.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <poll.h>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace Bench;

void awaitReadable(int fd) {
    pollfd polled{fd, POLLIN, 0};
    need(poll(&polled, 1, -1), "poll");
}

// The life of one who is going to be killed.
[[noreturn]] void live(Gate& ready) {
    createMailbox("victim");
    ready.letThrough(1);
    for (;;) {
        pause();
    }
}

double killWatchedByPidfd(pid_t victim) {
    const int pidfd = need(static_cast<int>(syscall(SYS_pidfd_open, victim, 0)), "pidfd_open");
    const double start = now();
    need(kill(victim, SIGKILL), "kill");
    awaitReadable(pidfd);
    const double taken = now() - start;
    close(pidfd);
    return taken;
}

double killWatchedByMonitor(pid_t victim) {
    itc_msg* gone = itc_alloc(sizeof(itc_msg), kMsgNo);
    itc_monitor(itc_locate("victim"), &gone);
    const double start = now();
    need(kill(victim, SIGKILL), "kill");
    itc_msg* indication = nullptr;
    while (indication == nullptr) {
        awaitReadable(itc_get_fd());
        indication = itc_receive(nullptr, ITC_NO_WAIT, ITC_ANY_SENDER);
    }
    const double taken = now() - start;
    itc_free(&indication);
    return taken;
}

double killOne(bool withMonitor) {
    Gate ready;
    const pid_t victim = need(fork(), "fork");
    if (victim == 0) {
        live(ready);
    }
    ready.pass();
    const double taken = withMonitor ? killWatchedByMonitor(victim) : killWatchedByPidfd(victim);
    need(waitpid(victim, nullptr, 0), "waitpid");
    return taken;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        fail("usage: death itc|pidfd pinned|free KILLS");
    }
    const bool withMonitor = std::string(argv[1]) == "itc";
    const Setting setting(std::string(argv[2]) == "pinned");
    if (withMonitor) {
        createMailbox("");
    }
    std::vector<double> taken(std::stoul(argv[3]));
    std::generate(taken.begin(), taken.end(), [withMonitor] { return killOne(withMonitor); });
    std::sort(taken.begin(), taken.end());
    std::printf("%.1f\n%.1f\n", taken[taken.size() / 2], taken[(taken.size() * 99 + 99) / 100 - 1]);
    return EXIT_SUCCESS;
}
