// The entry points of libitc. Each exists under its plain name and with two leading underscores.

#include "error.h"
#include "itc.h"
#include "names.h"
#include "process.h"

#include <algorithm>
#include <cstring>

#define ITC_EXPORT __attribute__((visibility("default")))

namespace {

using itc::guarded;
using itc::Mailbox;
using itc::Process;

itc_mbox_id_t createMailbox(const char* name, std::uint32_t flags) {
    if (flags != 0) {
        itc::fail("flags of a mailbox must be 0");
        return ITC_NO_MAILBOX;
    }
    Process* process = Process::join();
    Mailbox* mailbox = process != nullptr ? process->createMailbox(name) : nullptr;
    return mailbox != nullptr ? mailbox->id() : ITC_NO_MAILBOX;
}

// The calling thread's mailbox if it is `id`, else null.
Mailbox* ownMailbox(itc_mbox_id_t id) {
    Mailbox* mailbox = Process::threadMailbox();
    if (mailbox == nullptr || mailbox->id() != id) {
        itc::fail("the mailbox is not the calling thread's");
        return nullptr;
    }
    return mailbox;
}

// The calling thread's mailbox, or null with an error.
Mailbox* anyOwnMailbox() {
    Mailbox* mailbox = Process::threadMailbox();
    if (mailbox == nullptr) {
        itc::fail("the thread has no mailbox");
    }
    return mailbox;
}

void send(itc_msg* message, itc_mbox_id_t receiver, itc_mbox_id_t sender) {
    const Mailbox* own = Process::threadMailbox();
    const itc_mbox_id_t ownId = own != nullptr ? own->id() : ITC_NO_MAILBOX;
    Process* process = Process::join();
    if (process == nullptr) {
        Process::free(message);
        return;
    }
    process->send(message, receiver == ITC_OWN_MAILBOX ? ownId : receiver,
                  sender == ITC_OWN_MAILBOX ? ownId : sender);
}

bool getName(itc_mbox_id_t mailbox, char* buffer, std::uint32_t size) {
    if (size == 0 || !itc::isSlot(itc::slotOf(mailbox))) {
        return false;
    }
    std::string encoded;
    Process* process = Process::joined();
    if (process != nullptr && process->owns(mailbox)) {
        Mailbox* candidate = process->candidate(mailbox);
        encoded = candidate != nullptr ? candidate->firstName(mailbox) : std::string();
    } else if (itc::Domain* domain = Process::domain();
               domain != nullptr && domain->isAlive(itc::slotOf(mailbox))) {
        encoded = itc::nameOf(*domain, mailbox, 0);
    }
    if (encoded.empty()) {
        return false;
    }
    const std::string name = itc::decodeName(encoded);
    const std::size_t length = std::min<std::size_t>(name.size(), size - 1);
    std::memcpy(buffer, name.data(), length);
    buffer[length] = '\0';
    return true;
}

itc_mbox_id_t locate(const char* name) {
    const std::string encoded = itc::encodeName(name);
    itc::Domain* domain = encoded.empty() ? nullptr : Process::domain();
    const std::uint32_t holder = domain != nullptr ? itc::oldestHolder(*domain, encoded) : 0;
    return holder != 0 ? holder : ITC_NO_MAILBOX;
}

void locateAsync(const char* name, itc_msg* message, itc_mbox_id_t receiver) {
    Mailbox* mailbox = anyOwnMailbox();
    itc_msg* indication = Process::ownedAlone(message);
    const bool kept = mailbox != nullptr && indication != nullptr &&
                      (receiver == ITC_OWN_MAILBOX || receiver == mailbox->id()) &&
                      guarded(false, [&] { return mailbox->locate(name, indication); });
    if (!kept) {
        Process::free(indication);
    }
}

itc_monitor_id_t monitor(itc_mbox_id_t mailbox, itc_msg* message) {
    Mailbox* own = anyOwnMailbox();
    itc_msg* indication = Process::ownedAlone(message);
    if (own == nullptr || indication == nullptr) {
        Process::free(indication);
        return ITC_NO_MAILBOX;
    }
    const itc_monitor_id_t number =
        guarded(ITC_NO_MAILBOX, [&] { return own->monitor(mailbox, indication); });
    if (number == ITC_NO_MAILBOX) {
        Process::free(indication);
    }
    return number;
}

}  // namespace

extern "C" {

ITC_EXPORT itc_mbox_id_t itc_create_mailbox(const char* name, uint32_t flags) {
    return guarded(ITC_NO_MAILBOX, [&] { return createMailbox(name, flags); });
}

ITC_EXPORT void itc_delete_mailbox(itc_mbox_id_t mailbox) {
    guarded([&] {
        if (Mailbox* own = ownMailbox(mailbox); own != nullptr) {
            Process::join()->deleteMailbox(own);
        }
    });
}

ITC_EXPORT itc_mbox_id_t itc_current_mbox(void) {
    const Mailbox* mailbox = Process::threadMailbox();
    return mailbox != nullptr ? mailbox->id() : ITC_NO_MAILBOX;
}

ITC_EXPORT int itc_get_fd(void) {
    const Mailbox* mailbox = anyOwnMailbox();
    return mailbox != nullptr ? mailbox->descriptor() : -1;
}

ITC_EXPORT bool itc_add_name(itc_mbox_id_t mailbox, const char* name) {
    return guarded(false, [&] {
        Mailbox* own = ownMailbox(mailbox);
        return own != nullptr && own->addName(name != nullptr ? name : "");
    });
}

ITC_EXPORT itc_msg* itc_alloc(uint32_t size, uint32_t msgno) {
    return guarded(static_cast<itc_msg*>(nullptr), [&] { return Process::allocate(size, msgno); });
}

ITC_EXPORT void itc_free(itc_msg** msg) {
    if (*msg != nullptr) {
        guarded([&] { Process::free(*msg); });
        *msg = nullptr;
    }
}

ITC_EXPORT void itc_send(itc_msg** msg, itc_mbox_id_t receiver, itc_mbox_id_t sender) {
    if (*msg != nullptr) {
        guarded([&] { send(*msg, receiver, sender); });
        *msg = nullptr;
    }
}

ITC_EXPORT itc_msg* itc_receive(const uint32_t* filter, uint32_t timeout, itc_mbox_id_t from) {
    return guarded(static_cast<itc_msg*>(nullptr), [&] {
        Mailbox* mailbox = anyOwnMailbox();
        return mailbox != nullptr ? mailbox->receive(filter, timeout, from) : nullptr;
    });
}

ITC_EXPORT itc_mbox_id_t itc_sender(const itc_msg* msg) {
    return itc::blockOf(msg)->sender;
}

ITC_EXPORT uint32_t itc_size(const itc_msg* msg) {
    return Process::sizeOf(msg);
}

ITC_EXPORT bool itc_get_name(itc_mbox_id_t mailbox, char* buffer, uint32_t size) {
    return guarded(false, [&] { return getName(mailbox, buffer, size); });
}

ITC_EXPORT itc_mbox_id_t itc_locate(const char* name) {
    return guarded(ITC_NO_MAILBOX, [&] { return locate(name != nullptr ? name : ""); });
}

ITC_EXPORT void itc_locate_async(const char* name, itc_msg** msg, itc_mbox_id_t receiver) {
    if (*msg != nullptr) {
        guarded([&] { locateAsync(name != nullptr ? name : "", *msg, receiver); });
        *msg = nullptr;
    }
}

ITC_EXPORT itc_monitor_id_t itc_monitor(itc_mbox_id_t mailbox, itc_msg** msg) {
    if (*msg == nullptr) {
        itc::fail("no message to receive when a monitored mailbox is gone");
        return ITC_NO_MAILBOX;
    }
    const itc_monitor_id_t number = guarded(ITC_NO_MAILBOX, [&] { return monitor(mailbox, *msg); });
    *msg = nullptr;
    return number;
}

ITC_EXPORT void itc_unmonitor(itc_monitor_id_t monitor) {
    guarded([&] {
        if (Mailbox* own = anyOwnMailbox(); own != nullptr) {
            own->unmonitor(monitor);
        }
    });
}

ITC_EXPORT uint32_t itc_get_max_size(void) {
    return itc::kMaxMessageSize;
}

ITC_EXPORT itc_mbox_id_t __itc_create_mailbox(const char* name, uint32_t flags, const char*, int) {
    return itc_create_mailbox(name, flags);
}
ITC_EXPORT void __itc_delete_mailbox(itc_mbox_id_t mailbox, const char*, int) {
    itc_delete_mailbox(mailbox);
}
ITC_EXPORT itc_mbox_id_t __itc_current_mbox(const char*, int) {
    return itc_current_mbox();
}
ITC_EXPORT int __itc_get_fd(const char*, int) {
    return itc_get_fd();
}
ITC_EXPORT bool __itc_add_name(itc_mbox_id_t mailbox, const char* name, const char*, int) {
    return itc_add_name(mailbox, name);
}
ITC_EXPORT itc_msg* __itc_alloc(uint32_t size, uint32_t msgno, const char*, int) {
    return itc_alloc(size, msgno);
}
ITC_EXPORT void __itc_free(itc_msg** msg, const char*, int) {
    itc_free(msg);
}
ITC_EXPORT void __itc_send(itc_msg** msg, itc_mbox_id_t receiver, itc_mbox_id_t sender, const char*,
                           int) {
    itc_send(msg, receiver, sender);
}
ITC_EXPORT itc_msg* __itc_receive(const uint32_t* filter, uint32_t timeout, itc_mbox_id_t from,
                                  const char*, int) {
    return itc_receive(filter, timeout, from);
}
ITC_EXPORT itc_mbox_id_t __itc_sender(const itc_msg* msg, const char*, int) {
    return itc_sender(msg);
}
ITC_EXPORT uint32_t __itc_size(const itc_msg* msg, const char*, int) {
    return itc_size(msg);
}
ITC_EXPORT bool __itc_get_name(itc_mbox_id_t mailbox, char* buffer, uint32_t size, const char*,
                               int) {
    return itc_get_name(mailbox, buffer, size);
}
ITC_EXPORT itc_mbox_id_t __itc_locate(const char* name, const char*, int) {
    return itc_locate(name);
}
ITC_EXPORT void __itc_locate_async(const char* name, itc_msg** msg, itc_mbox_id_t receiver,
                                   const char*, int) {
    itc_locate_async(name, msg, receiver);
}
ITC_EXPORT itc_monitor_id_t __itc_monitor(itc_mbox_id_t mailbox, itc_msg** msg, const char*, int) {
    return itc_monitor(mailbox, msg);
}
ITC_EXPORT void __itc_unmonitor(itc_monitor_id_t monitor, const char*, int) {
    itc_unmonitor(monitor);
}

}  // extern "C"
