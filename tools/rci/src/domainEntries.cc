#include "domainEntries.h"

#include <itc_admin.h>

#include <exception>
#include <stdexcept>
#include <utility>

namespace Rci {

namespace {

MailboxEntry entryOf(const itc_mailbox_info& info) {
    return {info.id,           info.pid,          info.tid,
            info.process_name, info.thread_name,  {info.names, info.names + info.name_count},
            info.queued,       info.queued_bytes, info.most_queued,
            info.age_ms};
}

ProcessEntry entryOf(const itc_process_info& info) {
    return {info.slot, info.pid, info.process_name, info.inbox_bytes, info.undelivered};
}

template <typename Entry>
struct Listing {
    std::vector<Entry> entries;
    std::exception_ptr failure;
};

// No exception may pass through itc on its way out.
template <typename Entry, typename Info>
bool collect(const Info* info, void* context) {
    auto& listing = *static_cast<Listing<Entry>*>(context);
    try {
        listing.entries.push_back(entryOf(*info));
        return true;
    } catch (...) {
        listing.failure = std::current_exception();
        return false;
    }
}

template <typename Entry, typename Info>
std::vector<Entry> listed(int (*list)(bool (*)(const Info*, void*), void*), const char* what) {
    Listing<Entry> listing;
    if (list(&collect<Entry, Info>, &listing) == -1) {
        throw std::runtime_error(std::string("can't list the ") + what + ": " + itc_error_text());
    }
    if (listing.failure) {
        std::rethrow_exception(listing.failure);
    }
    return std::move(listing.entries);
}

}  // namespace

std::vector<MailboxEntry> livingMailboxes() {
    return listed<MailboxEntry>(&itc_list_mailboxes, "mailboxes");
}

std::vector<ProcessEntry> livingProcesses() {
    return listed<ProcessEntry>(&itc_list_processes, "processes");
}

std::string joinedNames(const MailboxEntry& mailbox) {
    std::string text;
    for (const std::string& name : mailbox.names) {
        text += (text.empty() ? "" : ", ") + name;
    }
    return text;
}

JsonObject jsonOf(const MailboxEntry& mailbox) {
    const auto number = [](std::uint64_t value) { return static_cast<std::int64_t>(value); };
    return JsonObject()
        .add("mailbox", mailbox.id)
        .add("names", mailbox.names)
        .add("process", mailbox.process)
        .add("pid", mailbox.pid)
        .add("thread", mailbox.thread)
        .add("tid", mailbox.tid)
        .add("queued", number(mailbox.queued))
        .add("queued_bytes", number(mailbox.queuedBytes))
        .add("most_queued", number(mailbox.mostQueued))
        .add("age_ms", number(mailbox.ageMs));
}

}  // namespace Rci
