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
    uint64_t queued; /* messages that wait in it, about: senders do not stop for the count */
};

/* Calls `visit` once for each living mailbox of the domain, ordered by id, with `context` passed
 * through; a visit that returns false ends the listing. Needs no mailbox and leaves none. Returns
 * the number of mailboxes visited, or -1 when the domain can't be used.
 * Thread: any. */
int itc_list_mailboxes(bool (*visit)(const struct itc_mailbox_info* info, void* context),
                       void* context);

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
