// domainEntries.h: the mailboxes and processes of the domain as they are now.
//
// Private header of rci.
#ifndef RCI_DOMAINENTRIES_H
#define RCI_DOMAINENTRIES_H

#include "json.h"

#include <itc.h>
#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

namespace Rci {

struct MailboxEntry {
    itc_mbox_id_t id;
    pid_t pid;
    pid_t tid;
    std::string process;
    std::string thread;
    std::vector<std::string> names;
    std::uint64_t queued;
    std::uint64_t queuedBytes;
    std::uint64_t mostQueued;
    std::uint64_t ageMs;
};

struct ProcessEntry {
    std::uint32_t slot;
    pid_t pid;
    std::string name;
    std::uint64_t inboxBytes;
    std::uint32_t undelivered;
};

// Ordered by id and by slot. Both throw std::runtime_error when the domain can't be used. What dead
// processes have left in it goes.
std::vector<MailboxEntry> livingMailboxes();
std::vector<ProcessEntry> livingProcesses();

// With ", " between them, as they are.
std::string joinedNames(const MailboxEntry& mailbox);

// All that is known about it.
JsonObject jsonOf(const MailboxEntry& mailbox);

}  // namespace Rci

#endif
