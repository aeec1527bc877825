#include "domainTraffic.h"

#include "quantity.h"

#include <fstream>
#include <string>

namespace Rci {

namespace {

constexpr std::size_t kMaxProcesses = 4094;
constexpr std::size_t kManyProcesses = kMaxProcesses / 10 * 9;
constexpr std::uint64_t kManyMessages = 1000;
constexpr std::uint64_t kManyBytes = 64U << 20;

Finding backlog(const MailboxEntry& mailbox) {
    const std::string names = mailbox.names.empty() ? "" : " (" + joinedNames(mailbox) + ")";
    return {Level::kProblem, "backlog",
            std::to_string(mailbox.queued) + " messages (" + sizeText(mailbox.queuedBytes) +
                ") wait in mailbox " + std::to_string(mailbox.id) + names + ": see what thread " +
                mailbox.thread + " (" + std::to_string(mailbox.tid) + ") of process " +
                mailbox.process + " (pid " + std::to_string(mailbox.pid) + ") is doing",
            jsonOf(mailbox)};
}

bool isStopped(pid_t pid) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
    std::string line;
    std::getline(file, line, '\0');
    const std::size_t nameEnd = line.rfind(')');  // the name may hold any byte
    return nameEnd != std::string::npos &&
           (line.compare(nameEnd, 3, ") T") == 0 || line.compare(nameEnd, 3, ") t") == 0);
}

}  // namespace

Finding population(const std::vector<ProcessEntry>& processes,
                   const std::vector<MailboxEntry>& mailboxes) {
    std::uint64_t memory = 0;
    for (const ProcessEntry& process : processes) {
        memory += process.inboxBytes;
    }
    const std::size_t count = processes.size();
    const Level level = count >= kMaxProcesses    ? Level::kProblem
                        : count >= kManyProcesses ? Level::kNote
                                                  : Level::kOk;
    return {level, "population",
            "processes: " + std::to_string(count) + " of " + std::to_string(kMaxProcesses) +
                ", mailboxes: " + std::to_string(mailboxes.size()) +
                ", memory for their messages: " + sizeText(memory),
            JsonObject()
                .add("processes", static_cast<std::int64_t>(count))
                .add("mailboxes", static_cast<std::int64_t>(mailboxes.size()))
                .add("memory_bytes", static_cast<std::int64_t>(memory))};
}

Findings backlogs(const std::vector<MailboxEntry>& mailboxes) {
    Findings findings;
    for (const MailboxEntry& mailbox : mailboxes) {
        if (mailbox.queued >= kManyMessages || mailbox.queuedBytes >= kManyBytes) {
            findings.push_back(backlog(mailbox));
        }
    }
    return findings;
}

Findings stopped(const std::vector<ProcessEntry>& processes) {
    Findings findings;
    for (const ProcessEntry& process : processes) {
        if (isStopped(process.pid)) {
            findings.push_back({Level::kProblem, "stopped",
                                "process " + process.name + " (pid " + std::to_string(process.pid) +
                                    ") is stopped and answers nobody",
                                JsonObject().add("process", process.name).add("pid", process.pid)});
        }
    }
    return findings;
}

Findings undelivered(const std::vector<ProcessEntry>& processes) {
    Findings findings;
    for (const ProcessEntry& process : processes) {
        if (process.undelivered > 0) {
            findings.push_back({Level::kNote, "undelivered",
                                "messages to mailboxes that were gone: " +
                                    std::to_string(process.undelivered) + ", from process " +
                                    process.name + " (pid " + std::to_string(process.pid) + ")",
                                JsonObject()
                                    .add("process", process.name)
                                    .add("pid", process.pid)
                                    .add("undelivered", process.undelivered)});
        }
    }
    return findings;
}

}  // namespace Rci
