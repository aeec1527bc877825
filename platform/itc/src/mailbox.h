// mailbox.h: one mailbox of this process.
//
// Private header of platform/itc.
//
// Messages reach it in two ways: posted by threads of this process into a list under a short lock,
// and pushed by other processes on the stack of its record in the inbox. The owner fetches both
// into a queue of its own (fetch()), in which filtered receives may leave messages behind.
//
// A Mailbox object is never destroyed before the process: when its mailbox is deleted, it waits for
// the next one, with its bell and its epoll descriptor, so that a sender that is late finds a
// living lock, another id, and a bell that is nobody else's descriptor.
#ifndef ITC_MAILBOX_H
#define ITC_MAILBOX_H

#include "descriptor.h"
#include "inbox.h"
#include "itc.h"
#include "itc_admin.h"
#include "layout.h"
#include "messageQueue.h"
#include "outcome.h"
#include "watches.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

namespace itc {

class Process;

std::int64_t monotonicMilliseconds();

class Mailbox {
public:
    // Makes the object and its descriptors. Null on failure.
    static std::unique_ptr<Mailbox> create(Process& process, std::uint32_t bellNumber);

    // ---- Thread: any ----

    // Takes over a block from the heap if the mailbox `mailbox` lives here still. A quiet one does
    // not wake the owner.
    bool post(Block* block, std::uint32_t mailbox, bool quiet);
    // Adds a watcher of this process. False if the mailbox `mailbox` is gone.
    bool addWatcher(std::uint32_t mailbox, std::uint32_t watcher, std::uint32_t number);
    void removeWatcher(std::uint32_t mailbox, std::uint32_t watcher, std::uint32_t number);
    // Calls `visit` with the stack of the record, while the owner can't fetch from it.
    void visitStack(const Inbox::StackVisit& visit);
    // The first name of the mailbox `mailbox`, "" if it has none or is gone.
    std::string firstName(std::uint32_t mailbox);

    // ---- Thread: owner ----

    void open(std::uint32_t id, MailboxRecord& record);
    // Throws nothing: what fails for lack of memory is left out.
    void close();

    std::uint32_t id() const { return id_.load(std::memory_order_relaxed); }
    int descriptor() const { return epoll_.get(); }
    bool addName(const char* name);
    itc_msg* receive(const std::uint32_t* filter, std::uint32_t timeout, std::uint32_t from);
    // See itc_set_high_mark().
    struct HighMark {
        std::uint64_t messages = 0;  // 0: none
        itc_high_mark_callback callback = nullptr;
        void* context = nullptr;
    };
    void setHighMark(const HighMark& mark);
    // The indication stays the caller's if the result is ITC_NO_MAILBOX or memory is short.
    std::uint32_t monitor(std::uint32_t mailbox, itc_msg* indication);
    void unmonitor(std::uint32_t number);
    // The indication stays the caller's if the result is false or memory is short.
    bool locate(const char* name, itc_msg* indication);

private:
    static constexpr std::size_t kCacheLine = 64;

    struct Watcher {
        std::uint32_t mailbox;
        std::uint32_t number;
        std::uint32_t incarnation;  // of its process
    };
    struct Request {
        std::string encodedName;
        itc_msg* indication;
    };

    explicit Mailbox(Process& process) : process_(process) {}

    // Both with mutex_ held.
    void keepWatcher(std::uint32_t watcher, std::uint32_t number);
    void forgetWatcher(std::uint32_t watcher, std::uint32_t number);
    itc_msg* receiveNew(const std::uint32_t* filter, std::uint32_t timeout, std::uint32_t from,
                        std::size_t seen);
    itc_msg* takeMatching(const std::uint32_t* filter, std::uint32_t from, std::size_t& seen);
    bool fetch();
    std::uint64_t takeStack();
    void fetchStack(std::uint64_t stack, std::vector<Block*>& fetched);
    void accept(Block* block, std::uint32_t self);
    void acceptNotice(const Block& block, const Notice& notice, std::uint32_t self);
    void deliver(itc_msg* indication, std::uint32_t sender);
    void countFetched(std::uint32_t messages, std::uint64_t bytes);
    void noteQueued(std::uint32_t messages);
    void countTaken(const Block& block);
    void noticeBacklog();
    void settle();
    void ring();
    bool lookAfterSilence();
    bool isRinging();
    bool mayRing();
    bool awaitEvents(int timeout);
    void noticeDeath(std::uint32_t slot);
    void dropNames();
    void turnAway(std::vector<Block*>& rest);
    void endRequests(std::uint32_t closedId);
    Outcome beginWatch(std::uint32_t mailbox, std::uint32_t number);
    void cancelWatch(std::uint32_t mailbox, std::uint32_t self, std::uint32_t number);
    void endWatches(std::uint32_t closedId);
    void tellWatchers(std::uint32_t closedId);

    Process& process_;
    std::uint32_t bellNumber_ = 0;
    Descriptor bell_;
    Descriptor epoll_;  // what the user polls: the bell and the lives of watched processes

    // What posting and fetching write for each message, in a cache line of its own (two on AArch64,
    // where a lock is larger).
    alignas(kCacheLine) std::mutex mutex_;  // guards what follows
    Block* firstPosted_ = nullptr;
    Block* lastPosted_ = nullptr;
    std::uint32_t postedCount_ = 0;
    std::uint32_t untilMost_ = 0;  // so many may come before there can be more than ever

    alignas(kCacheLine) std::atomic<std::uint32_t> id_{0};
    std::atomic<bool> posted_{false};  // whether firstPosted_ is set, for a look without the lock
    // The first of those who have posted since the last fetch wakes the owner; the others only if
    // they find the bell silent.
    bool isWoken_ = false;
    MailboxRecord* record_ = nullptr;
    std::vector<Watcher> watchers_;
    std::size_t pruneWatchersAt_ = 0;
    std::vector<std::string> names_;  // encoded

    // Used by the owner alone.
    alignas(kCacheLine) MessageQueue queue_;
    std::vector<Block*> fetched_;  // by the fetch that is going on
    HighMark highMark_;
    bool isBelowMark_ = true;  // since it was reached last, the backlog has gone down by half
    bool isRinging_ = false;   // the bell is known to hold a byte until it is silenced
    std::uint32_t looksSinceDeathCheck_ = 0;
    std::uint32_t bytesSinceReclaim_ = 0;
    Watches watches_;
    std::uint32_t lastRequest_ = 0;
    std::unordered_map<std::uint32_t, Request> requests_;
};

}  // namespace itc

#endif
