/* itc.h: mailboxes and messages between the threads and processes of one machine.
 *
 * Public header.
 *
 * A mailbox belongs to the thread that creates it; a thread has at most one. Messages are blocks
 * that are allocated here, filled by the caller and handed over with itc_send; the receiver frees
 * them. Threads of one process and of different processes talk alike: nobody needs to know which.
 *
 * All processes that see the same domain directory can talk to each other. The directory is
 * /dev/shm/itc-<uid>, or the one that the environment variable ITC_DOMAIN names by an absolute path
 * (a relative one, which would mean different directories to different processes, is refused). The
 * variable is read once, at the first call of a process that needs the directory, which is made
 * (for this user alone) if it is missing. There is no daemon and nothing to set up.
 *
 * Sending never blocks and never loses: a message to a living mailbox arrives once, and messages to
 * one receiver arrive in the order sent if they have one sender or if one was sent because of the
 * other. A message to a mailbox that is gone is freed. (Only when a receiving process has a backlog
 * of 1 GiB, or the file system of the domain is full, do senders of other processes wait.) Messages
 * that are queued survive the end of their sender and go with their receiver. Where 16384 messages
 * and more wait to be fetched, a sender calls sched_yield() once in 1024 messages, so that a
 * receiver that shares its processor can catch up. (Under SCHED_DEADLINE that gives up the rest of
 * the sender's period.)
 *
 * A forked child owns no mailbox and may create its own. Messages that it inherits it may free or
 * pass on, but those that its parent had received from other processes change once the parent frees
 * them. SIGKILL of any process leaves all others working: its mailboxes count as deleted. A thread
 * must not be cancelled (pthread_cancel) while it is in one of these operations.
 *
 * Every operation exists twice: under its plain name, and with two leading underscores and the
 * caller's source file and line behind the other arguments. Both do the same; file and line are
 * accepted for tools and not kept. Errors are told by the result; itc_error_text() in itc_admin.h
 * says in words what went wrong last on the calling thread.
 */
#ifndef ITC_H
#define ITC_H

#include <stdbool.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* A message block. The payload follows the message number directly. Blocks come from itc_alloc or
 * itc_receive and end in itc_free or with one of the operations that take them over. */
struct itc_msg {
    uint32_t msgno;
};

typedef uint32_t itc_mbox_id_t;
typedef uint32_t itc_monitor_id_t;

/* No mailbox: what a failed creation or locate returns. */
#define ITC_NO_MAILBOX 0xFFFFFFFFu
/* As a sender or receiver argument: the calling thread's own mailbox. */
#define ITC_OWN_MAILBOX 0xFFF00000u
/* As the `from` argument of itc_receive: whoever sent it. */
#define ITC_ANY_SENDER 0xFFF11111u
/* As a timeout of itc_receive. */
#define ITC_NO_WAIT 0u
#define ITC_WAIT_FOREVER 0xFFFFFFFFu

/* The longest name in bytes. Blanks, '/', '%', control characters and a leading '.' count three. */
#define ITC_MAX_NAME_LENGTH 255

/* Creates the calling thread's mailbox and gives it `name`; null or "" creates one without a name.
 * `flags` must be 0. The mailbox lives until itc_delete_mailbox or the end of its thread.
 * Returns the mailbox's id; ITC_NO_MAILBOX when the thread has a mailbox already, the name is too
 * long, the domain can't be used or resources are short.
 * Thread: any; the caller becomes the owner. */
itc_mbox_id_t itc_create_mailbox(const char* name, uint32_t flags);
itc_mbox_id_t __itc_create_mailbox(const char* name, uint32_t flags, const char* file, int line);

/* Deletes the calling thread's mailbox `mailbox`: its names are free, queued messages are freed,
 * those who monitor it are told. Its descriptor must no longer be used by then. Any other id is
 * refused and changes nothing.
 * Thread: owner. */
void itc_delete_mailbox(itc_mbox_id_t mailbox);
void __itc_delete_mailbox(itc_mbox_id_t mailbox, const char* file, int line);

/* Returns the id of the calling thread's mailbox, ITC_NO_MAILBOX if it has none.
 * Thread: any. */
itc_mbox_id_t itc_current_mbox(void);
itc_mbox_id_t __itc_current_mbox(const char* file, int line);

/* Returns a descriptor that is readable while the calling thread's mailbox holds a message; -1 if
 * the thread has no mailbox. It is meant for poll and epoll alone: never read, write or close it.
 * It may be readable for a moment without a message; itc_receive then returns null and settles it.
 * Thread: owner. */
int itc_get_fd(void);
int __itc_get_fd(const char* file, int line);

/* Makes the calling thread's mailbox `mailbox` known under the additional name `name`. Several
 * mailboxes may have one name. A name that the mailbox has already changes nothing. Returns false,
 * with nothing changed, when the name is empty or too long, the mailbox is not the caller's or
 * resources are short.
 * Thread: owner. */
bool itc_add_name(itc_mbox_id_t mailbox, const char* name);
bool __itc_add_name(itc_mbox_id_t mailbox, const char* name, const char* file, int line);

/* Allocates a message of `size` bytes, the message number included (at least 4, at most
 * itc_get_max_size()); the rest is not initialised. The caller owns the block. Returns null when
 * the size is out of range or memory is short. Thread: any. */
struct itc_msg* itc_alloc(uint32_t size, uint32_t msgno);
struct itc_msg* __itc_alloc(uint32_t size, uint32_t msgno, const char* file, int line);

/* Frees the block that `*msg` owns and sets `*msg` to null. A null `*msg` is left alone.
 * Thread: any. */
void itc_free(struct itc_msg** msg);
void __itc_free(struct itc_msg** msg, const char* file, int line);

/* Sends `*msg` to the mailbox `receiver` as coming from `sender` (ITC_OWN_MAILBOX or any mailbox
 * id) and sets `*msg` to null: the block is not the caller's any more, whatever becomes of it. If
 * there is no such receiver, it is freed. Thread: any. */
void itc_send(struct itc_msg** msg, itc_mbox_id_t receiver, itc_mbox_id_t sender);
void __itc_send(struct itc_msg** msg, itc_mbox_id_t receiver, itc_mbox_id_t sender,
                const char* file, int line);

/* Takes the first message that `filter` and `from` admit out of the calling thread's mailbox; all
 * others stay queued in their order. `filter` is null (any number) or an array of a count and that
 * many message numbers. `timeout` is ITC_NO_WAIT, ITC_WAIT_FOREVER or milliseconds on the monotonic
 * clock; a signal does not end the wait. Returns a block that the caller owns, or null when none
 * came in time or the thread has no mailbox.
 * Thread: owner. */
struct itc_msg* itc_receive(const uint32_t* filter, uint32_t timeout, itc_mbox_id_t from);
struct itc_msg* __itc_receive(const uint32_t* filter, uint32_t timeout, itc_mbox_id_t from,
                              const char* file, int line);

/* Returns who sent a received message: for a locate indication the located mailbox, for a monitor
 * indication the mailbox that is gone. ITC_NO_MAILBOX for a block that was never sent.
 * Thread: any. */
itc_mbox_id_t itc_sender(const struct itc_msg* msg);
itc_mbox_id_t __itc_sender(const struct itc_msg* msg, const char* file, int line);

/* Returns the size in bytes that the block was allocated with, the message number included.
 * Thread: any. */
uint32_t itc_size(const struct itc_msg* msg);
uint32_t __itc_size(const struct itc_msg* msg, const char* file, int line);

/* Writes the first name of `mailbox` with its NUL into `buffer`, cut to `size` - 1 bytes if it is
 * longer, and returns true; returns false, with the buffer untouched, when the mailbox is gone or
 * has no name or `size` is 0. Thread: any. */
bool itc_get_name(itc_mbox_id_t mailbox, char* buffer, uint32_t size);
bool __itc_get_name(itc_mbox_id_t mailbox, char* buffer, uint32_t size, const char* file, int line);

/* Returns the mailbox that has had the name `name` for the longest time, ITC_NO_MAILBOX if none has
 * it now. Does not wait.
 * Thread: any. */
itc_mbox_id_t itc_locate(const char* name);
itc_mbox_id_t __itc_locate(const char* name, const char* file, int line);

/* Asks for the mailbox `name`: as soon as one has that name (now or later), `*msg` is received by
 * the calling thread's mailbox, with the located mailbox as its sender, once. The block belongs to
 * itc until then; `*msg` is set to null. `receiver` must be ITC_OWN_MAILBOX. A request can't be
 * taken back; it ends with the mailbox. If the request can't be made, the block is freed. Thread:
 * owner. */
void itc_locate_async(const char* name, struct itc_msg** msg, itc_mbox_id_t receiver);
void __itc_locate_async(const char* name, struct itc_msg** msg, itc_mbox_id_t receiver,
                        const char* file, int line);

/* Watches `mailbox`: when it is deleted, or its thread or process ends in whatever way, `*msg` is
 * received by the calling thread's mailbox, with the watched mailbox as its sender, once, and after
 * all messages that the watched mailbox had sent. If it is gone already, at once. The block belongs
 * to itc until then; `*msg` is set to null. Returns the monitor's id for itc_unmonitor; 0xFFFFFFFF,
 * with the block freed, when the thread has no mailbox or resources are short. Thread: owner. */
itc_monitor_id_t itc_monitor(itc_mbox_id_t mailbox, struct itc_msg** msg);
itc_monitor_id_t __itc_monitor(itc_mbox_id_t mailbox, struct itc_msg** msg, const char* file,
                               int line);

/* Ends the monitor and frees its block. One whose block is queued already, and an id that the
 * thread does not have, change nothing. Thread: owner. */
void itc_unmonitor(itc_monitor_id_t monitor);
void __itc_unmonitor(itc_monitor_id_t monitor, const char* file, int line);

/* Returns the size in bytes of the largest message, the message number included.
 * Thread: any. */
uint32_t itc_get_max_size(void);

#ifdef __cplusplus
}
#endif

#endif
