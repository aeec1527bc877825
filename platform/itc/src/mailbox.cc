#include "mailbox.h"

#include "backlog.h"
#include "bell.h"
#include "error.h"
#include "names.h"
#include "process.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <utility>

#include <fcntl.h>
#include <sys/epoll.h>
#include <unistd.h>

namespace itc {

std::int64_t monotonicMilliseconds() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}

std::unique_ptr<Mailbox> Mailbox::create(Process& process, std::uint32_t bellNumber) {
    std::unique_ptr<Mailbox> mailbox(new Mailbox(process));
    mailbox->bellNumber_ = bellNumber;
    const std::string path = process.folder() + "/bell-" + std::to_string(bellNumber);
    const auto presence = process.stayInDomain();
    if (!presence || !process.home().makeFifo(path)) {
        return nullptr;
    }
    mailbox->bell_ = process.home().folder().open(path, O_RDWR);
    mailbox->epoll_ = Descriptor(epoll_create1(EPOLL_CLOEXEC));
    mailbox->watches_.reportTo(mailbox->epoll_.get());
    epoll_event event = {};
    event.events = EPOLLIN;
    if (!mailbox->bell_ || !mailbox->epoll_ ||
        epoll_ctl(mailbox->epoll_.get(), EPOLL_CTL_ADD, mailbox->bell_.get(), &event) != 0) {
        fail("can't make the descriptors of a mailbox", errno);
        process.home().folder().remove(path);  // if it stays, the sweep finds it
        return nullptr;
    }
    return mailbox;
}

void Mailbox::open(std::uint32_t id, MailboxRecord& record) {
    record.bell.store(bellNumber_, std::memory_order_relaxed);
    record.posted.store(0, std::memory_order_relaxed);
    record.postedBytes.store(0, std::memory_order_relaxed);
    record.fetched.store(0, std::memory_order_relaxed);
    record.fetchedBytes.store(0, std::memory_order_relaxed);
    record.taken.store(0, std::memory_order_relaxed);
    record.takenBytes.store(0, std::memory_order_relaxed);
    record.mostQueued.store(0, std::memory_order_relaxed);
    record.tid.store(gettid(), std::memory_order_relaxed);
    record.openedAt.store(monotonicMilliseconds(), std::memory_order_relaxed);
    // Of strokes that were meant for its predecessor. The state of the record goes on as well, so
    // that a ringer who was late for an earlier mailbox can't mark it.
    silenceBell(record, bell_.get());
    // Under the lock: a late sender may push and be killed as soon as the stack is open, and
    // whoever frees what it had must see the stack.
    const std::lock_guard<std::mutex> lock(mutex_);
    record_ = &record;
    untilMost_ = 0;
    id_.store(id, std::memory_order_relaxed);
    record.stack.store(kEmptyStack, std::memory_order_release);
    record.id.store(id, std::memory_order_release);
}

void Mailbox::close() {
    const std::uint32_t closedId = id();
    guarded([this] { dropNames(); });
    guarded([this, closedId] {
        std::vector<Block*> rest;
        turnAway(rest);
        for (Block* block : rest) {
            accept(block, closedId);  // there may be watchers among them
        }
    });
    guarded([this, closedId] { endRequests(closedId); });
    guarded([this, closedId] { endWatches(closedId); });
    guarded([this, closedId] { tellWatchers(closedId); });
    while (!queue_.empty()) {
        process_.countUndelivered();
        Process::free(queue_.take(0));
    }
    highMark_ = {};
    isBelowMark_ = true;
    isRinging_ = false;
    record_ = nullptr;
}

// From here on nothing reaches the mailbox; `rest` is what had.
void Mailbox::turnAway(std::vector<Block*>& rest) {
    const std::lock_guard<std::mutex> lock(mutex_);
    id_.store(0, std::memory_order_relaxed);
    record_->id.store(0, std::memory_order_release);
    const std::uint64_t stack = record_->stack.exchange(kClosedStack, std::memory_order_seq_cst);
    Block* posted = std::exchange(firstPosted_, nullptr);
    lastPosted_ = nullptr;
    postedCount_ = 0;
    posted_.store(false, std::memory_order_relaxed);
    isWoken_ = false;
    fetchStack(stack, rest);
    for (; posted != nullptr; posted = posted->next) {
        rest.push_back(posted);
    }
}

bool Mailbox::post(Block* block, std::uint32_t mailbox, bool quiet) {
    MailboxRecord* record = nullptr;
    bool wakes = false;
    std::size_t waiting = 0;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (id() != mailbox) {
            return false;
        }
        block->next = nullptr;
        block->pushedBefore = record_->stack.load(std::memory_order_relaxed) >> 32;
        (lastPosted_ != nullptr ? lastPosted_->next : firstPosted_) = block;
        lastPosted_ = block;
        waiting = ++postedCount_;
        if (waiting == 1) {
            posted_.store(true, std::memory_order_relaxed);
        }
        if (!quiet && !isWoken_) {
            wakes = true;
            isWoken_ = true;
        }
        record = record_;
        if (block->kind == kMessage) {
            const auto relaxed = std::memory_order_relaxed;
            record_->posted.store(record_->posted.load(relaxed) + 1, relaxed);
            record_->postedBytes.store(record_->postedBytes.load(relaxed) + block->size, relaxed);
            noteQueued(1);
        }
    }
    // One who was to wake the owner may have lost the processor before it did.
    if (wakes || (!quiet && !isBellKnownToRing(*record))) {
        ringBell(*record, bell_.get(), bellNumber_);
    }
    if (isTimeToOfferProcessor(waiting)) {
        offerProcessor();
    }
    return true;
}

// With mutex_ held, by the owner.
void Mailbox::countFetched(std::uint32_t messages, std::uint64_t bytes) {
    const auto relaxed = std::memory_order_relaxed;
    record_->fetched.store(record_->fetched.load(relaxed) + messages, relaxed);
    record_->fetchedBytes.store(record_->fetchedBytes.load(relaxed) + bytes, relaxed);
    noteQueued(messages);
}

// With mutex_ held, for so many messages that were counted. Looks at what the owner writes for each
// message only if there may be more in the queue now than ever before.
void Mailbox::noteQueued(std::uint32_t messages) {
    if (messages <= untilMost_) {
        untilMost_ -= messages;
        return;
    }
    const auto relaxed = std::memory_order_relaxed;
    const std::uint32_t queued = record_->posted.load(relaxed) + record_->fetched.load(relaxed) -
                                 record_->taken.load(relaxed);
    const std::uint32_t most = std::max(queued, record_->mostQueued.load(relaxed));
    record_->mostQueued.store(most, relaxed);
    untilMost_ = most - queued;
}

bool Mailbox::addWatcher(std::uint32_t mailbox, std::uint32_t watcher, std::uint32_t number) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (id() != mailbox) {
        return false;
    }
    keepWatcher(watcher, number);
    return true;
}

void Mailbox::removeWatcher(std::uint32_t mailbox, std::uint32_t watcher, std::uint32_t number) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (id() == mailbox) {
        forgetWatcher(watcher, number);
    }
}

// A process that is killed takes none of its watches back, so now and then they are looked through.
void Mailbox::keepWatcher(std::uint32_t watcher, std::uint32_t number) {
    constexpr std::size_t kFewWatchers = 64;
    const Domain& domain = process_.home();
    const auto incarnationOf = [&domain](std::uint32_t mailbox) {
        const std::uint32_t slot = slotOf(mailbox);
        return isSlot(slot) ? domain.slot(slot).incarnation.load() : 0;
    };
    if (watchers_.size() >= std::max(pruneWatchersAt_, kFewWatchers)) {
        const auto isDead = [&](const Watcher& kept) {
            return incarnationOf(kept.mailbox) != kept.incarnation ||
                   !domain.isAlive(slotOf(kept.mailbox));
        };
        watchers_.erase(std::remove_if(watchers_.begin(), watchers_.end(), isDead),
                        watchers_.end());
        pruneWatchersAt_ = 2 * watchers_.size();
    }
    watchers_.push_back({watcher, number, incarnationOf(watcher)});
}

void Mailbox::forgetWatcher(std::uint32_t watcher, std::uint32_t number) {
    const auto found =
        std::find_if(watchers_.begin(), watchers_.end(), [&](const Watcher& candidate) {
            return candidate.mailbox == watcher && candidate.number == number;
        });
    if (found != watchers_.end()) {
        watchers_.erase(found);
    }
}

void Mailbox::visitStack(const Inbox::StackVisit& visit) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (id() != 0) {
        const std::uint64_t stack = record_->stack.load(std::memory_order_acquire);
        if (stack != kClosedStack) {
            visit(stack);
        }
    }
}

std::string Mailbox::firstName(std::uint32_t mailbox) {
    const std::lock_guard<std::mutex> lock(mutex_);
    return id() == mailbox && !names_.empty() ? names_.front() : std::string();
}

// Takes the name first and then looks for those who wait for it: see names.h.
bool Mailbox::addName(const char* name) {
    const std::string encoded = encodeName(name);
    if (encoded.empty()) {
        return false;
    }
    if (std::find(names_.begin(), names_.end(), encoded) != names_.end()) {
        return true;
    }
    const Domain& domain = process_.home();
    if (const auto presence = process_.stayInDomain();
        !presence || !takeName(domain, id(), encoded, static_cast<std::uint32_t>(names_.size()))) {
        return false;
    }
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        names_.push_back(encoded);
    }
    forEachNote(domain, encoded, [&](std::uint32_t waiter, std::uint32_t request) {
        process_.sendNotice(kLocated, request, waiter, id(), false);
    });
    return true;
}

void Mailbox::dropNames() {
    for (std::uint32_t number = 0; number < names_.size(); ++number) {
        dropName(process_.home(), id(), number);
    }
}

bool Mailbox::locate(const char* name, itc_msg* indication) {
    const std::string encoded = encodeName(name);
    if (encoded.empty()) {
        return false;
    }
    Domain& domain = process_.home();
    const std::uint32_t request = ++lastRequest_;
    if (const auto presence = process_.stayInDomain();
        !presence || !leaveNote(domain, encoded, id(), request)) {
        return false;
    }
    const std::uint32_t holder = oldestHolder(domain, encoded);
    if (holder == 0) {
        requests_.emplace(request, Request{encoded, indication});
        return true;
    }
    removeNote(domain, encoded, id(), request);
    deliver(indication, holder);
    settle();
    return true;
}

// The mailbox has no id any more; its links still carry the old one.
void Mailbox::endRequests(std::uint32_t closedId) {
    const auto requests = std::exchange(requests_, {});
    for (const auto& [number, request] : requests) {
        Process::free(request.indication);
        removeNote(process_.home(), request.encodedName, closedId, number);
    }
}

std::uint32_t Mailbox::monitor(std::uint32_t mailbox, itc_msg* indication) {
    Domain& domain = process_.home();
    const std::uint32_t slot = slotOf(mailbox);
    if (watches_.followsPredecessor(domain, slot)) {
        noticeDeath(slot);
    }
    const std::uint32_t number = watches_.add(mailbox, indication);
    const Outcome outcome = guarded(Outcome::kFailed, [&] {
        const Outcome begun = beginWatch(mailbox, number);
        if (begun == Outcome::kGone) {
            fetch();  // what the other had sent comes first
            queue_.reserve(queue_.size() + 1);
        }
        return begun;
    });
    if (outcome == Outcome::kFailed) {
        watches_.take(number);
        settle();
        return ITC_NO_MAILBOX;
    }
    if (outcome == Outcome::kGone) {
        if (const Watches::Watch watch = watches_.take(number); watch.indication != nullptr) {
            deliver(watch.indication, mailbox);
        }
    }
    settle();
    return number;
}

Outcome Mailbox::beginWatch(std::uint32_t mailbox, std::uint32_t number) {
    if (process_.owns(mailbox)) {
        Mailbox* target = process_.candidate(mailbox);
        return target != nullptr && target->addWatcher(mailbox, id(), number) ? Outcome::kDone
                                                                              : Outcome::kGone;
    }
    const std::uint32_t slot = slotOf(mailbox);
    if (!isSlot(slot)) {
        return Outcome::kGone;
    }
    const Outcome outcome = watches_.followProcess(process_.home(), slot);
    return outcome == Outcome::kDone ? process_.sendNotice(kWatch, number, mailbox, id(), true)
                                     : outcome;
}

void Mailbox::unmonitor(std::uint32_t number) {
    const Watches::Watch watch = watches_.take(number);
    if (watch.indication != nullptr) {
        Process::free(watch.indication);
        cancelWatch(watch.mailbox, id(), number);
    }
}

void Mailbox::cancelWatch(std::uint32_t mailbox, std::uint32_t self, std::uint32_t number) {
    if (!process_.owns(mailbox)) {
        // If it can't be told, it tells us, and finds that we don't care.
        process_.sendNotice(kUnwatch, number, mailbox, self, true);
    } else if (Mailbox* target = process_.candidate(mailbox); target != nullptr) {
        target->removeWatcher(mailbox, self, number);
    }
}

void Mailbox::endWatches(std::uint32_t closedId) {
    for (const auto& [number, watch] : watches_.takeAll()) {
        Process::free(watch.indication);
        cancelWatch(watch.mailbox, closedId, number);
    }
}

void Mailbox::tellWatchers(std::uint32_t closedId) {
    std::vector<Watcher> watchers;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        watchers.swap(watchers_);
        names_.clear();
    }
    for (const Watcher& watcher : watchers) {
        process_.sendNotice(kGone, watcher.number, watcher.mailbox, closedId, false);
    }
}

}  // namespace itc
