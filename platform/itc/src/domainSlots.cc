// Who has which slot of a domain, and what becomes of the traces of the dead.

#include "domain.h"
#include "error.h"
#include "folder.h"
#include "names.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace itc {

namespace {

constexpr char kProcessPrefix[] = "process-";
constexpr char kHalfMadePrefix[] = "new-process-";
constexpr char kHalfMadeFolderPrefix[] = "new-folder-";

// Each slot has two locks: one that its process holds for life, and one that is held for as long as
// the slot is cleaned or taken, so that no one cleans what another one is just building.
off_t lifeLock(std::uint32_t slot) {
    return static_cast<off_t>(slot) * 2;
}
off_t upkeepLock(std::uint32_t slot) {
    return static_cast<off_t>(slot) * 2 + 1;
}

struct flock lockOf(short type, off_t byte) {
    struct flock lock = {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = byte;
    lock.l_len = 1;
    return lock;
}

bool startsWith(const char* name, const char* prefix) {
    return std::strncmp(name, prefix, std::strlen(prefix)) == 0;
}

}  // namespace

std::string Domain::processFolder(std::uint32_t slot) {
    char text[24];
    std::snprintf(text, sizeof(text), "%s%04u", kProcessPrefix, slot);
    return text;
}

bool Domain::lock(off_t byte) const {
    struct flock wanted = lockOf(F_WRLCK, byte);
    return fcntl(controlFile_.get(), F_OFD_SETLK, &wanted) == 0;
}

void Domain::unlock(off_t byte) const {
    struct flock held = lockOf(F_UNLCK, byte);
    fcntl(controlFile_.get(), F_OFD_SETLK, &held);  // giving up a lock can't fail on an open file
}

bool Domain::isLocked(off_t byte) const {
    struct flock asked = lockOf(F_WRLCK, byte);
    // If the kernel can't answer, the process counts as alive: that loses nothing.
    return fcntl(controlFile_.get(), F_OFD_GETLK, &asked) != 0 || asked.l_type != F_UNLCK;
}

std::uint32_t Domain::claimSlot() {
    const std::lock_guard<std::mutex> upkeep(upkeepMutex_);
    for (std::uint32_t candidate = kFirstSlot; candidate <= kLastSlot; ++candidate) {
        if (isLocked(lifeLock(candidate)) || !lock(upkeepLock(candidate))) {
            continue;
        }
        bool taken = false;
        // A slot that can't be cleaned is of no use.
        if (!isLocked(lifeLock(candidate)) && removeDead(candidate)) {
            slot(candidate).incarnation.fetch_add(1);
            taken = lock(lifeLock(candidate));
        }
        unlock(upkeepLock(candidate));
        if (taken) {
            ownSlot_.store(candidate);
            return candidate;
        }
    }
    fail("all " + std::to_string(kLastSlot) + " process slots of the mailbox domain are taken");
    return 0;
}

void Domain::releaseSlot() {
    const std::lock_guard<std::mutex> upkeep(upkeepMutex_);
    unlock(lifeLock(ownSlot_.load()));
    ownSlot_.store(0);
}

bool Domain::isAlive(std::uint32_t slot) const {
    return slot == ownSlot_.load(std::memory_order_relaxed) ||
           (deadIncarnations_[slot].load(std::memory_order_relaxed) !=
                this->slot(slot).incarnation.load() &&
            isLocked(lifeLock(slot)));
}

void Domain::markDead(std::uint32_t slot, std::uint32_t incarnation) {
    deadIncarnations_[slot].store(incarnation, std::memory_order_relaxed);
}

void Domain::sweepIfDead(std::uint32_t dead) {
    // The thread that has the mutex may be taking this very slot.
    const std::unique_lock<std::mutex> upkeep(upkeepMutex_, std::try_to_lock);
    if (!upkeep || dead == ownSlot_.load() || isLocked(lifeLock(dead)) || !lock(upkeepLock(dead))) {
        return;
    }
    if (!isLocked(lifeLock(dead))) {
        slot(dead).incarnation.fetch_add(1);  // tells who still maps its inbox
        removeDead(dead);  // what can't be removed is left to the next one who tries
    }
    unlock(upkeepLock(dead));
}

void Domain::sweepDead() {
    folder_.list(".", [this](const char* name) {
        for (const char* prefix : {kProcessPrefix, kHalfMadePrefix}) {
            if (startsWith(name, prefix)) {
                const unsigned long found = std::strtoul(name + std::strlen(prefix), nullptr, 10);
                if (found >= kFirstSlot && found <= kLastSlot) {
                    sweepIfDead(static_cast<std::uint32_t>(found));
                }
            }
        }
        if (startsWith(name, kHalfMadeFolderPrefix)) {
            folder_.removeFolder(name);  // whoever is still making it tries again
        }
    });
}

bool Domain::removeDead(std::uint32_t slot) const {
    // Senders map the inbox of the dead until they notice; what it holds need not wait for that.
    const Descriptor inbox = folder_.open(processFolder(slot) + "/inbox", O_RDWR);
    struct stat status = {};
    if (inbox && fstat(inbox.get(), &status) == 0 && S_ISREG(status.st_mode) &&
        static_cast<std::size_t>(status.st_size) == kInboxSize) {
        returnSpace(inbox.get(), kChunksOffset, kInboxSize - kChunksOffset);
    }
    return removeTraces(slot);
}

// The links in the folder of a process point to all that it has elsewhere in the domain. Results of
// the single removals do not matter: what is gone already is as good.
bool Domain::removeTraces(std::uint32_t slot) const {
    bool removed = true;
    for (const std::string& process :
         {processFolder(slot), std::string("new-") + processFolder(slot)}) {
        folder_.list(process, [this, &process](const char* name) {
            const std::string link = process + "/" + name;
            removeEntry(*this, readEntry(*this, link), link);
        });
        folder_.removeFolder(process);
        removed = removed && !folder_.has(process);
    }
    return removed;
}

}  // namespace itc
