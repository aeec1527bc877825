/* itc_admin.h: what tools and careful callers want to know about the mailboxes of the domain.
 *
 * Public header.
 */
#ifndef ITC_ADMIN_H
#define ITC_ADMIN_H

#include "itc.h"

#include <sys/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* One mailbox of the domain. All pointers live as long as the call that they were passed to. */
struct itc_mailbox_info {
    itc_mbox_id_t id;
    pid_t pid;                /* of the owning process, as that process sees itself */
    pid_t tid;                /* of the owning thread, likewise */
    const char* process_name; /* "" if it can't be read */
    const char* thread_name;  /* "" if it can't be read */
    const char* const* names; /* in the order in which they were given */
    uint32_t name_count;
    uint64_t queued;       /* messages that wait in it, about: senders do not stop for the count */
    uint64_t queued_bytes; /* their size, likewise */
    uint64_t most_queued;  /* the most messages that ever waited in it */
    uint64_t age_ms;       /* since it was created */
};

/* Calls `visit` once for each living mailbox of the domain, ordered by id, with `context` passed
 * through; a visit that returns false ends the listing. Needs no mailbox and leaves none. Returns
 * the number of mailboxes visited, or -1 when the domain can't be used.
 * Thread: any. */
int itc_list_mailboxes(bool (*visit)(const struct itc_mailbox_info* info, void* context),
                       void* context);

/* One process of the domain. The pointer lives as long as the call that it was passed to. */
struct itc_process_info {
    uint32_t slot;            /* the upper 12 bits of the ids of its mailboxes */
    pid_t pid;                /* as it sees itself */
    const char* process_name; /* "" if it can't be read */
    uint32_t mailboxes;
    uint64_t inbox_bytes; /* memory that messages from other processes take up, in use or kept */
    uint32_t undelivered; /* messages that it gave up because their receiver was known to be gone */
};

/* Calls `visit` once for each living process of the domain, ordered by slot, in the same way.
 * Returns the number of processes visited, or -1 when the domain can't be used.
 * Thread: any. */
int itc_list_processes(bool (*visit)(const struct itc_process_info* info, void* context),
                       void* context);

/* Called when a mailbox has reached its high mark, with the number of messages that wait. */
typedef void (*itc_high_mark_callback)(itc_mbox_id_t mailbox, uint64_t queued, void* context);

/* Has `callback` called, with `context`, when `messages` or more wait in the calling thread's
 * mailbox, and again when that happens after at most half as many have waited. It is called on this
 * thread, at the end of itc_receive, and may call any operation; a thread that does not receive is
 * not told, but others see its backlog with itc_list_mailboxes. Nothing is ever dropped because of
 * a high mark. 0 or a null callback ends it, as the end of the mailbox does. Returns false when the
 * thread has no mailbox.
 * Thread: owner. */
bool itc_set_high_mark(uint64_t messages, itc_high_mark_callback callback, void* context);

/* What processes of a domain must agree on, and what they need for it. */
struct itc_layout_info {
    uint32_t version;        /* of the shared memory, as this library lays it out */
    uint32_t domain_version; /* as the domain is laid out; 0 if there is none that can be read */
    uint64_t inbox_size;     /* the file size limit of each process must allow for so many bytes */
    uint32_t max_processes;  /* in a domain */
    uint32_t max_mailboxes;  /* of a process, at a time */
};

/* Tells that for the domain that this process uses or would use. Changes nothing there, nor makes
 * it. Later versions may add members at the end.
 * Thread: any. What it points to lives until the thread's next call of this. */
const struct itc_layout_info* itc_layout(void);

/* Returns the path of the domain directory that this process uses or would use.
 * Thread: any. The text lives as long as the process. */
const char* itc_domain_path(void);

/* Says in one line, in English, why the calling thread's last itc operation that failed did so; ""
 * if none has. Success does not clear it.
 * Thread: any. The text lives until the thread's next failing operation. */
const char* itc_error_text(void);

#ifdef __cplusplus
}
#endif

#endif
