#include "itc_admin.h"

#include "error.h"
#include "folder.h"
#include "layout.h"
#include "names.h"
#include "process.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>
#include <map>
#include <set>
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
    std::uint64_t queuedBytes;
    std::uint64_t mostQueued;
    std::int64_t openedAt;
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
    const Descriptor file = domain.folder().open(path, O_RDONLY);
    struct stat status = {};
    if (!file || fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode) ||
        static_cast<std::size_t>(status.st_size) != kInboxSize) {
        return Mapping();
    }
    Mapping inbox = Mapping::shared(file.get(), kInboxSize, false);
    const bool valid = inbox && inbox.as<InboxHeader>()->magic == kInboxMagic &&
                       inbox.as<InboxHeader>()->version == kLayoutVersion;
    return valid ? std::move(inbox) : Mapping();
}

// The bytes in a stack that its owner has not fetched. It may fetch it meanwhile: then the walk
// goes astray, but not beyond the inbox.
std::uint64_t bytesOf(const Mapping& inbox, std::uint64_t stack) {
    const std::uint32_t chunks =
        std::min(inbox.as<InboxHeader>()->stampsReserved.load(), kChunkCount);
    std::uint64_t bytes = 0;
    std::uint64_t unit = stack & 0xFFFFFFFF;
    for (std::uint64_t left = std::min(stack >> 32, kMaxBlocks); left > 0; --left) {
        if (!isInChunks(unit) || chunkOfUnit(unit) >= chunks) {
            break;
        }
        const Stamp claimed = inbox.as<std::atomic<Stamp>>(kStampsOffset)[chunkOfUnit(unit)].load();
        const auto* block = inbox.as<Block>(unit * kUnit);
        const std::size_t room = roomAt(unit, claimed);
        if (room == 0) {
            break;
        }
        bytes += std::min<std::size_t>(block->size, room);
        unit = block->link;
    }
    return bytes;
}

// Those that `visit` is called with may be in the middle of being opened or closed.
void forEachRecord(
    const Mapping& inbox, std::uint32_t slot,
    const std::function<void(std::uint32_t id, const MailboxRecord& record)>& visit) {
    const std::uint32_t records =
        std::min(inbox.as<InboxHeader>()->recordsReserved.load(), kRecordCount);
    for (std::uint32_t index = 0; index < records; ++index) {
        const MailboxRecord& record = inbox.as<MailboxRecord>(kRecordsOffset)[index];
        const std::uint32_t id = record.id.load(std::memory_order_acquire);
        if (id != 0 && slotOf(id) == slot && record.stack.load() != kClosedStack) {
            visit(id, record);
        }
    }
}

struct Backlog {
    bool isOpen;
    std::uint64_t messages;
    std::uint64_t bytes;
};

// The owner runs on meanwhile. What has come is looked at before the stack, and what has been taken
// last, so that a message that moves in between counts less rather than twice; one that came and
// was taken in between may even have been taken without having come.
Backlog backlogOf(const Mapping& inbox, const MailboxRecord& record) {
    const auto acquire = std::memory_order_acquire;
    const std::uint32_t come = record.posted.load(acquire) + record.fetched.load(acquire);
    const std::uint64_t bytesCome =
        record.postedBytes.load(acquire) + record.fetchedBytes.load(acquire);
    const std::uint64_t stack = record.stack.load(acquire);
    if (stack == kClosedStack) {
        return {};
    }
    const std::uint64_t bytesInStack = bytesOf(inbox, stack);
    const auto known = static_cast<std::int32_t>(come - record.taken.load(acquire));
    const auto bytesKnown = static_cast<std::int64_t>(bytesCome - record.takenBytes.load(acquire));
    const auto messages = static_cast<std::int64_t>(stack >> 32) + known;
    const std::int64_t bytes = static_cast<std::int64_t>(bytesInStack) + bytesKnown;
    return {true, static_cast<std::uint64_t>(std::max<std::int64_t>(messages, 0)),
            static_cast<std::uint64_t>(std::max<std::int64_t>(bytes, 0))};
}

void listProcess(const Domain& domain, std::uint32_t slot, std::vector<Listed>& listed) {
    const Mapping inbox = openInbox(domain, slot);
    if (!inbox) {
        return;
    }
    std::map<std::uint32_t, std::map<std::uint32_t, std::string>> names;
    const std::string folder = Domain::processFolder(slot);
    domain.folder().list(folder, [&](const char* entry) {
        unsigned id = 0;
        unsigned number = 0;
        if (std::sscanf(entry, "name-%8x-%u", &id, &number) == 2) {
            const std::string encoded = nameOf(domain, id, number);
            if (!encoded.empty()) {
                names[id][number] = decodeName(encoded);
            }
        }
    });
    forEachRecord(inbox, slot, [&](std::uint32_t id, const MailboxRecord& record) {
        const Backlog backlog = backlogOf(inbox, record);
        if (!backlog.isOpen) {
            return;
        }
        const auto relaxed = std::memory_order_relaxed;
        listed.push_back(
            {id, inbox.as<InboxHeader>()->pid, record.tid.load(relaxed), backlog.messages,
             backlog.bytes,
             std::max<std::uint64_t>(record.mostQueued.load(relaxed), backlog.messages),
             record.openedAt.load(relaxed), std::move(names[id])});
    });
}

// With the slots of all living processes, in their order. False when the domain can't be used.
bool forEachProcess(const std::function<void(Domain& domain, std::uint32_t slot)>& visit) {
    Domain* domain = Process::domain();
    if (domain == nullptr) {
        return false;
    }
    domain->sweepDead();
    std::set<std::uint32_t> slots;
    domain->folder().list(".", [&](const char* entry) {
        unsigned slot = 0;
        if (std::sscanf(entry, "process-%4u", &slot) == 1 && isSlot(slot) &&
            domain->isAlive(slot)) {
            slots.insert(slot);
        }
    });
    for (const std::uint32_t slot : slots) {
        visit(*domain, slot);
    }
    return true;
}

std::string nameOfProcess(pid_t pid) {
    return firstLineOf("/proc/" + std::to_string(pid) + "/comm");
}

std::uint64_t ageOf(std::int64_t openedAt) {
    return static_cast<std::uint64_t>(
        std::max<std::int64_t>(monotonicMilliseconds() - openedAt, 0));
}

int listMailboxes(bool (*visit)(const itc_mailbox_info* info, void* context), void* context) {
    std::vector<Listed> listed;
    if (!forEachProcess(
            [&listed](Domain& domain, std::uint32_t slot) { listProcess(domain, slot, listed); })) {
        return -1;
    }
    std::sort(listed.begin(), listed.end(),
              [](const Listed& left, const Listed& right) { return left.id < right.id; });
    int visited = 0;
    for (const Listed& mailbox : listed) {
        const std::string processName = nameOfProcess(mailbox.pid);
        const std::string threadName =
            firstLineOf("/proc/" + std::to_string(mailbox.pid) + "/task/" +
                        std::to_string(mailbox.tid) + "/comm");
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
                                       mailbox.queued,
                                       mailbox.queuedBytes,
                                       mailbox.mostQueued,
                                       ageOf(mailbox.openedAt)};
        ++visited;
        if (!visit(&info, context)) {
            break;
        }
    }
    return visited;
}

std::uint64_t memoryOf(const Domain& domain, std::uint32_t slot) {
    struct stat status = {};
    const std::string inbox = Domain::processFolder(slot) + "/inbox";
    const bool isThere = domain.folder().examine(inbox, status);
    return isThere ? static_cast<std::uint64_t>(status.st_blocks) * 512 : 0;
}

int listProcesses(bool (*visit)(const itc_process_info* info, void* context), void* context) {
    int visited = 0;
    bool goesOn = true;
    const auto visitOne = [&](Domain& domain, std::uint32_t slot) {
        const Mapping inbox = goesOn ? openInbox(domain, slot) : Mapping();
        if (!inbox) {
            return;
        }
        const InboxHeader& header = *inbox.as<InboxHeader>();
        const std::string name = nameOfProcess(header.pid);
        std::uint32_t mailboxes = 0;
        forEachRecord(inbox, slot, [&](std::uint32_t, const MailboxRecord&) { ++mailboxes; });
        const itc_process_info info = {slot,
                                       header.pid,
                                       name.c_str(),
                                       mailboxes,
                                       memoryOf(domain, slot),
                                       header.undelivered.load(std::memory_order_relaxed)};
        ++visited;
        goesOn = visit(&info, context);
    };
    return forEachProcess(visitOne) ? visited : -1;
}

bool setHighMark(std::uint64_t messages, itc_high_mark_callback callback, void* context) {
    Mailbox* mailbox = Process::threadMailbox();
    if (mailbox == nullptr) {
        return fail("the thread has no mailbox");
    }
    mailbox->setHighMark(callback != nullptr ? Mailbox::HighMark{messages, callback, context}
                                             : Mailbox::HighMark{});
    return true;
}

}  // namespace

}  // namespace itc

extern "C" {

ITC_EXPORT int itc_list_mailboxes(bool (*visit)(const itc_mailbox_info* info, void* context),
                                  void* context) {
    return itc::guarded(-1, [&] { return itc::listMailboxes(visit, context); });
}

ITC_EXPORT int itc_list_processes(bool (*visit)(const itc_process_info* info, void* context),
                                  void* context) {
    return itc::guarded(-1, [&] { return itc::listProcesses(visit, context); });
}

ITC_EXPORT bool itc_set_high_mark(uint64_t messages, itc_high_mark_callback callback,
                                  void* context) {
    return itc::guarded(false, [&] { return itc::setHighMark(messages, callback, context); });
}

ITC_EXPORT const char* itc_domain_path(void) {
    return itc::guarded("", [] { return itc::Process::domainPath(); });
}

ITC_EXPORT const char* itc_error_text(void) {
    return itc::lastError();
}

}  // extern "C"
