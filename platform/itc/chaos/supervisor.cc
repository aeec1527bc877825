#include "supervisor.h"

#include "player.h"
#include "worker.h"

#include <itc_admin.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <set>
#include <thread>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace ItcChaos {

namespace {

constexpr std::uint32_t kLong = 60'000;
// What a process may have more of at its end: bells and inboxes of those who are still there or
// were the last to go, and memory that the library keeps ready. In an inbox that are the answers of
// the last process (2 MiB), and the records of all the mailboxes (2 MiB) and the stamps and lanes
// (less than 1 MiB) that it can have, which a process that lives for minutes gets through.
constexpr std::uint64_t kSpareDescriptors = 4;
constexpr std::uint64_t kSpareHeap = 1U << 20;
constexpr std::uint64_t kSpareInbox = 5U << 20;

}  // namespace

Supervisor::Supervisor(const World& world)
    : world_(world), decisions_(world.seed), workers_(world.workers) {}

bool Supervisor::run(std::chrono::seconds time) {
    id_ = itc_create_mailbox("supervisor", 0);
    if (id_ == ITC_NO_MAILBOX) {
        failed("no mailbox is made");
    }
    livingMailboxes();
    count(before_, id_);
    for (unsigned index = 0; index < world_.workers; ++index) {
        start(index);
    }
    const auto end = Clock::now() + time;
    while (Clock::now() < end && failures_ == 0) {
        const std::uint64_t decision = decisions_.next();
        std::this_thread::sleep_for(std::chrono::milliseconds(1 + (decision >> 8) % 25));
        const auto index = static_cast<unsigned>((decision >> 16) % std::max(world_.workers, 1U));
        if (decision % 10 < 7 && index != kSurvivor) {
            kill(index);
            start(index);
        } else {
            stop(workers_[index], std::chrono::milliseconds(1 + (decision >> 24) % 30));
        }
        continueThose(Clock::now());
        receiveNews(ITC_NO_WAIT);
        forgetDeleted();
        expectAllAtWork();
        for (unsigned each = 0; each < world_.workers; ++each) {
            watch(workers_[each], each);
        }
    }
    continueThose(Clock::time_point::max());
    if (failures_ == 0 && waitUntilDrained()) {
        endAll();
    }
    for (const Worker& worker : workers_) {
        if (worker.pid > 0) {
            ::kill(worker.pid, SIGKILL);  // only after a failure
            waitpid(worker.pid, nullptr, 0);
        }
    }
    itc_delete_mailbox(id_);
    print(time);
    return failures_ == 0 && leaks_ == 0;
}

void Supervisor::report(const std::string& what) {
    std::fprintf(stderr, "FAILED, seen by the supervisor: %s\n", what.c_str());
    ++failures_;
}

void Supervisor::start(unsigned index) {
    Worker& worker = workers_[index];
    const unsigned life = worker.life + 1;
    worker = Worker();
    worker.life = life;
    const pid_t parent = getpid();
    worker.pid = fork();
    if (worker.pid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);  // if that fails, an aborted run leaves workers behind
        if (getppid() != parent) {
            _exit(EXIT_FAILURE);
        }
        liveAsWorker(world_, index, life);
    }
    if (worker.pid < 0) {
        failed("no process can be started");
    }
}

// Some are killed before they have a name: those are not watched.
void Supervisor::watch(Worker& worker, unsigned index) {
    if (worker.monitor != ITC_NO_MAILBOX) {
        return;
    }
    worker.mailbox = itc_locate(lifeName(index, worker.life).c_str());
    if (worker.mailbox != ITC_NO_MAILBOX) {
        itc_msg* indication = itc_alloc(sizeof(itc_msg), index << 16 | (worker.life & 0xFFFF));
        worker.monitor = itc_monitor(worker.mailbox, &indication);
        if (worker.monitor == ITC_NO_MAILBOX) {
            report("a monitor is refused");
        }
    }
}

void Supervisor::kill(unsigned index) {
    Worker& worker = workers_[index];
    watch(worker, index);
    const auto begin = Clock::now();
    ::kill(worker.pid, SIGKILL);  // it is not reaped before: it can't be anyone else
    if (worker.monitor != ITC_NO_MAILBOX) {
        const auto wasGone = worker.isGone;
        while (!worker.isGone && failures_ == 0) {
            receiveNews(kLong);
        }
        if (!wasGone) {
            const std::chrono::duration<double, std::milli> taken = Clock::now() - begin;
            noticeMilliseconds_.push_back(taken.count());
        }
    }
    int status = 0;
    waitpid(worker.pid, &status, 0);
    if (!WIFSIGNALED(status)) {
        report("a worker had ended by itself with " + std::to_string(WEXITSTATUS(status)));
    }
    ++kills_;
    if (itc_locate(lifeName(index, worker.life).c_str()) != ITC_NO_MAILBOX) {
        report("the name of a dead process leads somewhere");
    }
    struct Dead {
        pid_t pid;
        bool isListed;
    } dead = {worker.pid, false};
    const auto visit = [](const itc_mailbox_info* info, void* context) {
        auto* sought = static_cast<Dead*>(context);
        sought->isListed = sought->isListed || info->pid == sought->pid;
        return true;
    };
    if (itc_list_mailboxes(visit, &dead) < 0 || dead.isListed) {
        report("a dead process is listed");
    }
    worker.pid = -1;
}

void Supervisor::stop(Worker& worker, std::chrono::milliseconds time) {
    if (!worker.isStopped) {
        ::kill(worker.pid, SIGSTOP);
        worker.isStopped = true;
        worker.stoppedUntil = Clock::now() + time;
        ++stops_;
    }
}

void Supervisor::continueThose(Clock::time_point stoppedUntil) {
    for (Worker& worker : workers_) {
        if (worker.isStopped && worker.stoppedUntil <= stoppedUntil) {
            ::kill(worker.pid, SIGCONT);
            worker.isStopped = false;
        }
    }
}

void Supervisor::receiveNews(std::uint32_t timeout) {
    itc_msg* message = itc_receive(nullptr, timeout, ITC_ANY_SENDER);
    if (message == nullptr && timeout != ITC_NO_WAIT) {
        report("a death was not noticed");
    }
    while (message != nullptr) {
        const unsigned index = message->msgno >> 16;
        Worker* worker = index < workers_.size() ? &workers_[index] : nullptr;
        if (worker == nullptr || worker->isGone || itc_sender(message) != worker->mailbox ||
            (worker->life & 0xFFFF) != (message->msgno & 0xFFFF)) {
            report("a monitor fired twice or for another mailbox");
        } else {
            worker->isGone = true;
        }
        itc_free(&message);
        message = itc_receive(nullptr, ITC_NO_WAIT, ITC_ANY_SENDER);
    }
}

// The first player deletes its mailbox now and then: then its next one is watched.
void Supervisor::forgetDeleted() {
    for (Worker& worker : workers_) {
        if (worker.isGone) {
            worker.isGone = false;
            worker.mailbox = ITC_NO_MAILBOX;
            worker.monitor = ITC_NO_MAILBOX;
        }
    }
}

// A worker that has found a mistake has said so and ended.
void Supervisor::expectAllAtWork() {
    for (const Worker& worker : workers_) {
        siginfo_t info = {};
        if (waitid(P_PID, static_cast<id_t>(worker.pid), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
            info.si_pid != 0) {
            report("a worker has ended by itself: status " + std::to_string(info.si_status));
        }
    }
}

// What was begun comes to its end, now that nobody is killed any more.
bool Supervisor::waitUntilDrained() {
    world_.board->phase = kDrain;
    const auto end = Clock::now() + std::chrono::milliseconds(3 * kLong);
    const auto isDrained = [this] {
        for (unsigned worker = 0; worker < world_.workers; ++worker) {
            for (unsigned player = 0; player < world_.players; ++player) {
                if (!world_.board->isDrained[worker][player]) {
                    return false;
                }
            }
        }
        return true;
    };
    while (!isDrained() && failures_ == 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        expectAllAtWork();
        if (Clock::now() > end) {
            report("a worker is stuck");
        }
    }
    return failures_ == 0;
}

void Supervisor::endAll() {
    world_.board->phase = kLeave;
    for (unsigned index = 0; index < world_.workers; ++index) {
        if (index != kSurvivor) {
            expectCleanEnd(workers_[index]);
        }
    }
    const pid_t last = fork();
    if (last == 0) {
        liveAsLast();
    }
    while (itc_locate(kLastName) == ITC_NO_MAILBOX) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    world_.board->phase = kCountLeaks;
    expectCleanEnd(workers_[kSurvivor]);
    receiveNews(ITC_NO_WAIT);
    letGoOfTheDead();
    checkTraces();
    count(after_, id_);
    compare("the supervisor", before_, after_, kSpareDescriptors);
    // The objects of its mailboxes, with two descriptors each, are kept for the next ones.
    compare("the survivor", world_.board->before, world_.board->after,
            kSpareDescriptors + std::size_t{2} * (world_.players - 1));
    dismissLast();
    int status = 0;
    if (waitpid(last, &status, 0) != last || status != 0) {
        report("the last process ended badly");
    }
}

void Supervisor::expectCleanEnd(Worker& worker) {
    int status = 0;
    waitpid(worker.pid, &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        report("a worker ended badly");
    }
    worker.pid = -1;
}

// The supervisor and the last one live.
void Supervisor::checkTraces() {
    if (livingMailboxes().size() != 2) {
        report("the dead are listed");
    }
    std::set<std::string> expected = {"domain", "names", "names/last", "names/supervisor"};
    for (const itc_mbox_id_t mailbox : {id_, itc_locate(kLastName)}) {
        char folder[24];
        std::snprintf(folder, sizeof(folder), "process-%04u", mailbox >> 20);
        expected.insert(folder);
    }
    const std::filesystem::path root(itc_domain_path());
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
        const std::filesystem::path path = entry.path().lexically_relative(root);
        if (expected.count(path) == 0 && expected.count(path.parent_path()) == 0) {
            std::fprintf(stderr, "LEFT OVER: %s\n", path.c_str());
            ++leaks_;
        }
    }
}

void Supervisor::compare(const char* whose, const Possessions& before, const Possessions& after,
                         std::uint64_t spareDescriptors) {
    const bool leaks = after.descriptors > before.descriptors + spareDescriptors ||
                       after.heapBytes > before.heapBytes + kSpareHeap ||
                       after.inboxBytes > kSpareInbox;
    leaks_ += leaks ? 1 : 0;
    std::printf("  %s: descriptors %llu -> %llu, heap %llu -> %llu KiB, inbox %llu -> %llu KiB%s\n",
                whose, static_cast<unsigned long long>(before.descriptors),
                static_cast<unsigned long long>(after.descriptors),
                static_cast<unsigned long long>(before.heapBytes >> 10),
                static_cast<unsigned long long>(after.heapBytes >> 10),
                static_cast<unsigned long long>(before.inboxBytes >> 10),
                static_cast<unsigned long long>(after.inboxBytes >> 10), leaks ? "  LEAK" : "");
}

void Supervisor::print(std::chrono::seconds time) {
    const Figures& figures = world_.board->figures;
    const auto value = [](std::uint64_t number) { return static_cast<unsigned long long>(number); };
    std::printf("  %lld s: kills survived %llu, stops %llu\n", static_cast<long long>(time.count()),
                value(kills_), value(stops_));
    std::printf("  messages checked %llu (%llu MiB), waits without a limit %llu\n",
                value(figures.messages), value(figures.bytes >> 20), value(figures.waits));
    std::printf("  monitors fired %llu, requests answered %llu, mailboxes %llu, more names %llu\n",
                value(figures.monitors), value(figures.answers), value(figures.mailboxes),
                value(figures.names));
    if (!noticeMilliseconds_.empty()) {
        std::sort(noticeMilliseconds_.begin(), noticeMilliseconds_.end());
        std::printf("  kill to indication on the busy machine: median %.2f ms, longest %.2f ms\n",
                    noticeMilliseconds_[noticeMilliseconds_.size() / 2],
                    noticeMilliseconds_.back());
    }
    std::printf("  failures %llu, leaks found %llu\n", value(failures_), value(leaks_));
}

}  // namespace ItcChaos
