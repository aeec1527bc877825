#include "watchMailbox.h"

#include "domainEntries.h"
#include "json.h"
#include "ownMailbox.h"
#include "standardStreams.h"
#include "text.h"
#include "watchedProcess.h"

#include <itc.h>
#include <itc_admin.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <optional>
#include <stdexcept>

namespace Rci {

namespace {

constexpr std::uint32_t kFound = 1;
constexpr std::uint32_t kGone = 2;
constexpr std::uint32_t kSlotShift = 20;  // below the slot of its process in a mailbox id
constexpr itc_monitor_id_t kNoMonitor = 0xFFFFFFFF;

itc_msg* allocate(std::uint32_t number) {
    itc_msg* message = itc_alloc(sizeof(itc_msg), number);
    if (message == nullptr) {
        throw std::runtime_error(std::string("can't allocate a message: ") + itc_error_text());
    }
    return message;
}

// Waits for the message `number` and returns its sender.
itc_mbox_id_t awaitMessage(std::uint32_t number) {
    const std::uint32_t filter[] = {1, number};
    itc_msg* message = itc_receive(filter, ITC_WAIT_FOREVER, ITC_ANY_SENDER);
    if (message == nullptr) {
        throw std::runtime_error(std::string("can't wait: ") + itc_error_text());
    }
    const itc_mbox_id_t sender = itc_sender(message);
    itc_free(&message);
    return sender;
}

// What happens, told in words or as an object.
class Report {
public:
    Report(const std::string& name, bool asJson) : name_(name), asJson_(asJson) {}

    void waiting() const {
        write("no mailbox is called " + printable(name_) + " yet", event("waiting"));
    }
    void appeared(itc_mbox_id_t mailbox, const std::optional<MailboxEntry>& entry) const {
        write(printable(name_) + " is mailbox " + std::to_string(mailbox) + owner(entry, " of "),
              event("appeared", mailbox, entry));
    }
    void deleted(itc_mbox_id_t mailbox, const MailboxEntry& entry) const {
        write("mailbox " + std::to_string(mailbox) + " was deleted, or its thread ended;" +
                  owner(entry, " ") + " lives on",
              event("deleted", mailbox, entry));
    }
    void ended(itc_mbox_id_t mailbox, const std::optional<MailboxEntry>& entry,
               std::optional<int> status) const {
        std::string how;
        JsonObject object = event("ended", mailbox, entry);
        if (status && WIFSIGNALED(*status)) {
            const int number = WTERMSIG(*status);
            const char* text = strsignal(number);
            how = ", killed by signal " + std::to_string(number) + " (" +
                  (text != nullptr ? text : "unknown") + ")";
            object.add("signal", number);
        } else if (status) {
            how = " with exit code " + std::to_string(WEXITSTATUS(*status));
            object.add("exit_code", WEXITSTATUS(*status));
        } else {
            how = ", how is not known";
        }
        write("mailbox " + std::to_string(mailbox) + " is gone: its" +
                  (entry ? owner(entry, " ") : " process") + " ended" + how,
              object);
    }

private:
    static std::string owner(const std::optional<MailboxEntry>& entry, const std::string& before) {
        return entry ? before + "process " + printable(entry->process) + " (pid " +
                           std::to_string(entry->pid) + ")"
                     : "";
    }
    JsonObject event(const char* what) const {
        return JsonObject().add("event", what).add("name", name_);
    }
    JsonObject event(const char* what, itc_mbox_id_t mailbox,
                     const std::optional<MailboxEntry>& entry) const {
        JsonObject object = event(what).add("mailbox", mailbox);
        if (entry) {
            object.add("pid", entry->pid).add("process", entry->process);
        }
        return object;
    }
    void write(const std::string& words, const JsonObject& object) const {
        writeOutput((asJson_ ? object.text() : words) + "\n");
    }

    const std::string& name_;
    const bool asJson_;
};

void askFor(const std::string& name) {
    itc_msg* message = allocate(kFound);
    const std::string before = itc_error_text();
    itc_locate_async(name.c_str(), &message, ITC_OWN_MAILBOX);
    if (before != itc_error_text()) {
        throw std::runtime_error(std::string("can't wait for the mailbox: ") + itc_error_text());
    }
}

void monitor(itc_mbox_id_t mailbox) {
    itc_msg* message = allocate(kGone);
    if (itc_monitor(mailbox, &message) == kNoMonitor) {
        throw std::runtime_error(std::string("can't monitor the mailbox: ") + itc_error_text());
    }
}

// Nothing if it is gone already.
std::optional<MailboxEntry> entryOf(itc_mbox_id_t mailbox) {
    for (const MailboxEntry& entry : livingMailboxes()) {
        if (entry.id == mailbox) {
            return entry;
        }
    }
    return std::nullopt;
}

bool processLives(const MailboxEntry& mailbox) {
    const std::vector<ProcessEntry> all = livingProcesses();
    return std::any_of(all.begin(), all.end(), [&mailbox](const ProcessEntry& process) {
        return process.slot == mailbox.id >> kSlotShift && process.pid == mailbox.pid;
    });
}

}  // namespace

int watchMailbox(const std::string& name, bool asJson) {
    const Report report(name, asJson);
    createOwnMailbox();
    askFor(name);
    if (itc_locate(name.c_str()) == ITC_NO_MAILBOX) {
        report.waiting();
    }
    const itc_mbox_id_t mailbox = awaitMessage(kFound);
    const std::optional<MailboxEntry> entry = entryOf(mailbox);
    const auto process = entry ? std::make_unique<WatchedProcess>(entry->pid) : nullptr;
    report.appeared(mailbox, entry);
    monitor(mailbox);
    awaitMessage(kGone);
    if (entry && processLives(*entry)) {
        report.deleted(mailbox, *entry);
    } else {
        report.ended(mailbox, entry, process ? process->endStatus() : std::nullopt);
    }
    return 0;
}

}  // namespace Rci
