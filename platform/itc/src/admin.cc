#include "itc_admin.h"

#include "error.h"
#include "folder.h"
#include "layout.h"
#include "names.h"
#include "process.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#define ITC_EXPORT __attribute__((visibility("default")))

namespace itc {

namespace {

struct Listed {
    std::uint32_t id;
    pid_t pid;
    pid_t tid;
    std::uint64_t queued;
    std::map<std::uint32_t, std::string> names;  // by their number
};

std::string firstLineOf(const std::string& path) {
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    char text[64];
    const ssize_t length = file ? read(file.get(), text, sizeof(text)) : 0;
    const std::string content(text, length > 0 ? static_cast<std::size_t>(length) : 0);
    return content.substr(0, content.find('\n'));
}

Mapping openInbox(const Domain& domain, std::uint32_t slot) {
    const std::string path = Domain::processFolder(slot) + "/inbox";
    const Descriptor file(openat(domain.folder(), path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    struct stat status = {};
    if (!file || fstat(file.get(), &status) != 0 ||
        static_cast<std::size_t>(status.st_size) != kInboxSize) {
        return Mapping();
    }
    Mapping inbox = Mapping::shared(file.get(), kInboxSize, false);
    const bool valid = inbox && inbox.as<InboxHeader>()->magic == kInboxMagic &&
                       inbox.as<InboxHeader>()->version == kLayoutVersion;
    return valid ? std::move(inbox) : Mapping();
}

void listProcess(const Domain& domain, std::uint32_t slot, std::vector<Listed>& listed) {
    const Mapping inbox = openInbox(domain, slot);
    if (!inbox) {
        return;
    }
    std::map<std::uint32_t, std::map<std::uint32_t, std::string>> names;
    const std::string folder = Domain::processFolder(slot);
    listFolder(domain.folder(), folder, [&](const char* entry) {
        unsigned id = 0;
        unsigned number = 0;
        if (std::sscanf(entry, "name-%8x-%u", &id, &number) == 2) {
            const std::string encoded = nameOf(domain, id, number);
            if (!encoded.empty()) {
                names[id][number] = decodeName(encoded);
            }
        }
    });
    const auto* header = inbox.as<InboxHeader>();
    const std::uint32_t records = std::min(header->recordsReserved.load(), kRecordCount);
    for (std::uint32_t index = 0; index < records; ++index) {
        const MailboxRecord& record = inbox.as<MailboxRecord>(kRecordsOffset)[index];
        const std::uint32_t id = record.id.load(std::memory_order_acquire);
        const std::uint64_t stack = record.stack.load(std::memory_order_relaxed);
        if (id != 0 && slotOf(id) == slot && stack != kClosedStack) {
            const std::uint32_t fetched = record.arrived.load(std::memory_order_relaxed) -
                                          record.taken.load(std::memory_order_relaxed);
            listed.push_back({id, header->pid, record.tid.load(std::memory_order_relaxed),
                              (stack >> 32) + fetched, std::move(names[id])});
        }
    }
}

int listMailboxes(bool (*visit)(const itc_mailbox_info* info, void* context), void* context) {
    Domain* domain = Process::domain();
    if (domain == nullptr) {
        return -1;
    }
    domain->sweepDead();
    std::vector<Listed> listed;
    listFolder(domain->folder(), ".", [&](const char* entry) {
        unsigned slot = 0;
        if (std::sscanf(entry, "process-%4u", &slot) == 1 && isSlot(slot) &&
            domain->isAlive(slot)) {
            listProcess(*domain, slot, listed);
        }
    });
    std::sort(listed.begin(), listed.end(),
              [](const Listed& left, const Listed& right) { return left.id < right.id; });
    int visited = 0;
    for (const Listed& mailbox : listed) {
        const std::string process = "/proc/" + std::to_string(mailbox.pid);
        const std::string processName = firstLineOf(process + "/comm");
        const std::string threadName =
            firstLineOf(process + "/task/" + std::to_string(mailbox.tid) + "/comm");
        std::vector<const char*> names;
        for (const auto& [number, name] : mailbox.names) {
            names.push_back(name.c_str());
        }
        const itc_mailbox_info info = {mailbox.id,
                                       mailbox.pid,
                                       mailbox.tid,
                                       processName.c_str(),
                                       threadName.c_str(),
                                       names.data(),
                                       static_cast<std::uint32_t>(names.size()),
                                       mailbox.queued};
        ++visited;
        if (!visit(&info, context)) {
            break;
        }
    }
    return visited;
}

}  // namespace

}  // namespace itc

extern "C" {

ITC_EXPORT int itc_list_mailboxes(bool (*visit)(const itc_mailbox_info* info, void* context),
                                  void* context) {
    return itc::guarded(-1, [&] { return itc::listMailboxes(visit, context); });
}

ITC_EXPORT const char* itc_domain_path(void) {
    return itc::guarded("", [] { return itc::Process::domainPath(); });
}

ITC_EXPORT const char* itc_error_text(void) {
    return itc::lastError();
}

}  // extern "C"
