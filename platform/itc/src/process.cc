#include "process.h"

#include "error.h"
#include "threadEnd.h"

#include <cerrno>
#include <set>
#include <string>
#include <utility>

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

namespace itc {

namespace {

std::mutex joinMutex_;  // held across a fork, so that no half-open descriptor slips into the child
std::atomic<Domain*> theDomain{nullptr};
std::atomic<Process*> theProcess{nullptr};
const char* thePath = nullptr;  // guarded by joinMutex_

// What this process inherited from the one that it was forked from.
std::atomic<Domain*> inheritedDomain{nullptr};

thread_local Mailbox* threadMailbox_ = nullptr;

// A thread's mailbox outlives the destructors of its other thread-specific values, so that these
// may still send.
bool endThread(bool isLast) {
    if (threadMailbox_ != nullptr && isLast) {
        guarded([] { Process::joined()->deleteMailbox(threadMailbox_); });
    }
    return threadMailbox_ != nullptr;
}

thread_local ThreadEndTask threadTask_{endThread};

void beforeFork() {
    joinMutex_.lock();
    lockThreadEnds();
}

void inParent() {
    unlockThreadEnds();
    joinMutex_.unlock();
}

void inChild() {
    Descriptor::closeAllInChild();
    if (Process* process = theProcess.exchange(nullptr); process != nullptr) {
        Process::keepInherited(process);
    }
    if (Domain* domain = theDomain.exchange(nullptr); domain != nullptr) {
        domain->keepInherited(inheritedDomain.exchange(domain));
    }
    thePath = nullptr;
    threadMailbox_ = nullptr;
    unlockThreadEnds();
    joinMutex_.unlock();
}

// Done when the library is loaded: another thread may fork while one makes the first call.
int forkFailure_ = 0;
__attribute__((constructor)) void prepareForks() {
    forkFailure_ = pthread_atfork(beforeFork, inParent, inChild);
}

// With joinMutex_ held.
const char* choosePath() {
    static auto* const everChosen = new std::set<std::string>;  // lives as long as the process
    if (thePath == nullptr) {
        thePath = everChosen->insert(Domain::path()).first->c_str();
    }
    return thePath;
}

__attribute__((destructor)) void atProcessEnd() {
    guarded([] {
        if (Process* process = theProcess.load(); process != nullptr) {
            process->leave();
        }
    });
}

}  // namespace

const char* Process::domainPath() {
    const std::lock_guard<std::mutex> lock(joinMutex_);
    return choosePath();
}

// In the child, which has one thread.
void Process::keepInherited(Process* inherited) {
    inherited->olderInherited_ = youngestInherited_.load();
    youngestInherited_.store(inherited);
}

Domain* Process::domain() {
    if (Domain* domain = theDomain.load(std::memory_order_acquire); domain != nullptr) {
        return domain;
    }
    const std::lock_guard<std::mutex> lock(joinMutex_);
    if (forkFailure_ != 0) {
        fail("can't prepare the process for mailboxes", forkFailure_);
        return nullptr;
    }
    if (theDomain.load() == nullptr) {
        // Both stay until the process ends: other threads use them without a lock.
        theDomain.store(Domain::open(choosePath()).release(), std::memory_order_release);
    }
    return theDomain.load();
}

Process* Process::joined() {
    return theProcess.load(std::memory_order_acquire);
}

Process* Process::join() {
    if (Process* process = joined(); process != nullptr) {
        return process;
    }
    Domain* home = domain();
    if (home == nullptr) {
        return nullptr;
    }
    const std::lock_guard<std::mutex> lock(joinMutex_);
    if (theProcess.load() == nullptr) {
        theProcess.store(tryJoin(*home), std::memory_order_release);
    }
    return theProcess.load();
}

Process* Process::tryJoin(Domain& domain) {
    const std::uint32_t slot = domain.claimSlot();
    if (slot == 0) {
        return nullptr;
    }
    std::unique_ptr<Process> process(new Process(domain, slot));
    if (!process->build()) {
        domain.removeTraces(slot);
        domain.releaseSlot();
        return nullptr;
    }
    domain.sweepDead();
    return process.release();
}

// Built under another name and then renamed, so that the folder of a process is never seen
// half-made.
bool Process::build() {
    const std::string halfMade = "new-" + folder();
    if (!domain_.makeFolder(halfMade) || !domain_.makeFifo(halfMade + "/life")) {
        return false;
    }
    life_ = domain_.folder().open(halfMade + "/life", O_RDWR);
    if (!life_) {
        return fail("can't join the mailbox domain", errno);
    }
    inbox_ = Inbox::create(domain_, halfMade, slot_);
    if (inbox_ == nullptr) {
        return false;
    }
    if (!domain_.folder().rename(halfMade, folder(), false)) {
        return fail("can't join the mailbox domain", errno);
    }
    return true;
}

std::shared_lock<std::shared_mutex> Process::stayInDomain() {
    std::shared_lock<std::shared_mutex> lock(presenceMutex_);
    if (hasLeft_) {
        fail("the process is about to end");
        lock.unlock();
    }
    return lock;
}

void Process::leave() {
    const std::lock_guard<std::shared_mutex> lock(presenceMutex_);
    hasLeft_ = true;
    domain_.removeTraces(slot_);
}

Mailbox* Process::threadMailbox() {
    return threadMailbox_;
}

Mailbox* Process::createMailbox(const char* name) {
    if (threadMailbox_ != nullptr) {
        fail("the thread has a mailbox already");
        return nullptr;
    }
    Mailbox* mailbox = takeFromPool();
    if (mailbox == nullptr) {
        return nullptr;
    }
    if (!giveRecord(*mailbox)) {
        const std::lock_guard<std::mutex> lock(mutex_);
        pool_.push_back(mailbox);
        return nullptr;
    }
    threadMailbox_ = mailbox;
    const int error = doAtThreadEnd(threadTask_);
    const bool named = name == nullptr || *name == '\0' || mailbox->addName(name);
    if (error != 0 || !named) {
        if (error != 0) {
            fail("can't bind a mailbox to its thread", error);
        }
        deleteMailbox(mailbox);
        return nullptr;
    }
    return mailbox;
}

Mailbox* Process::takeFromPool() {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!pool_.empty()) {
        Mailbox* mailbox = pool_.back();
        pool_.pop_back();
        return mailbox;
    }
    std::unique_ptr<Mailbox> mailbox =
        Mailbox::create(*this, static_cast<std::uint32_t>(mailboxes_.size()));
    if (mailbox == nullptr) {
        return nullptr;
    }
    mailboxes_.push_back(std::move(mailbox));
    return mailboxes_.back().get();
}

bool Process::giveRecord(Mailbox& mailbox) {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::atomic<std::uint32_t>& counter = domain_.slot(slot_).counter;
    for (std::uint32_t tried = 0; tried < kRecordCount; ++tried) {
        const std::uint32_t id = makeId(slot_, counter.fetch_add(1));
        const std::uint32_t index = inbox_->recordIndex(id);
        if (table_[index].load(std::memory_order_relaxed) == nullptr) {
            if (!inbox_->reserveRecord(index)) {
                return false;
            }
            table_[index].store(&mailbox, std::memory_order_release);
            mailbox.open(id, inbox_->record(index));
            return true;
        }
    }
    return fail("the process has " + std::to_string(kRecordCount) + " mailboxes already");
}

void Process::deleteMailbox(Mailbox* mailbox) {
    const std::uint32_t index = inbox_->recordIndex(mailbox->id());
    mailbox->close();
    if (threadMailbox_ == mailbox) {
        threadMailbox_ = nullptr;
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    table_[index].store(nullptr, std::memory_order_release);
    pool_.push_back(mailbox);
}

Mailbox* Process::candidate(std::uint32_t mailbox) const {
    return table_[inbox_->recordIndex(mailbox)].load(std::memory_order_acquire);
}

void Process::reclaimNow() {
    guarded([this] {
        std::vector<Mailbox*> mailboxes;
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            for (const std::unique_ptr<Mailbox>& mailbox : mailboxes_) {
                mailboxes.push_back(mailbox.get());
            }
        }
        inbox_->reclaim(domain_, [&mailboxes](const Inbox::StackVisit& visit) {
            for (Mailbox* mailbox : mailboxes) {
                mailbox->visitStack(visit);
            }
        });
    });
}

}  // namespace itc
