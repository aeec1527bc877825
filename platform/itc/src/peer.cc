#include "peer.h"

#include "backlog.h"
#include "bell.h"
#include "error.h"

#include <cerrno>
#include <cstring>
#include <ctime>
#include <string>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>

namespace itc {

namespace {

// A copy of so many bytes is over before another thread has noticed the lock.
constexpr std::uint32_t kCopiedUnderLock = 4096;

// Why there is no peer, said with `text` unless its process has simply ended.
Outcome withoutPeer(const Domain& domain, std::uint32_t slot, std::uint32_t incarnation,
                    const char* text, int error) {
    if (domain.slot(slot).incarnation.load() != incarnation || !domain.isAlive(slot) ||
        error == ENOENT) {
        return Outcome::kGone;
    }
    fail(std::string(text) + " of process slot " + std::to_string(slot), error);
    return Outcome::kFailed;
}

}  // namespace

Peer::Peer(const Domain& domain, std::uint32_t slot, std::uint32_t incarnation, Descriptor file,
           Mapping mapping, std::uint32_t ownSlot)
    : domain_(domain),
      slot_(slot),
      incarnation_(incarnation),
      file_(std::move(file)),
      mapping_(std::move(mapping)),
      blocks_(mapping_, file_.get(), ownSlot, domain.slot(ownSlot).incarnation.load()) {}

Outcome Peer::attach(const Domain& domain, std::uint32_t slot, std::uint32_t ownSlot,
                     std::shared_ptr<Peer>& peer) {
    const std::uint32_t incarnation = domain.slot(slot).incarnation.load();
    const auto without = [&](const char* text, int error) {
        return withoutPeer(domain, slot, incarnation, text, error);
    };
    if (!domain.isAlive(slot)) {
        return Outcome::kGone;
    }
    Descriptor file = domain.folder().open(Domain::processFolder(slot) + "/inbox", O_RDWR);
    if (!file) {
        return without("can't open the inbox", errno);
    }
    struct stat status = {};
    if (fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode) ||
        static_cast<std::size_t>(status.st_size) != kInboxSize) {
        return without("wrong size of the inbox", 0);
    }
    const std::size_t lanePage = (kLanesOffset + ownSlot * sizeof(Lane)) & ~(kPage - 1);
    if (!reserveSpace(file.get(), lanePage, kPage)) {
        return without("no room for a lane in the inbox", errno);
    }
    Mapping mapping = Mapping::shared(file.get(), kInboxSize, true);
    if (!mapping) {
        return without("can't map the inbox", errno);
    }
    mapping.keepFromChildren();
    const InboxHeader& header = *mapping.as<InboxHeader>();
    if (header.magic != kInboxMagic || header.version != kLayoutVersion || header.slot != slot ||
        header.incarnation != incarnation) {
        return without("no inbox of this library is the one", 0);
    }
    peer.reset(new Peer(domain, slot, incarnation, std::move(file), std::move(mapping), ownSlot));
    return Outcome::kDone;
}

MailboxRecord* Peer::find(std::uint32_t mailbox) const {
    const std::uint32_t index = (mailbox - header().firstCounter) & (kRecordCount - 1);
    if (index >= header().recordsReserved.load(std::memory_order_acquire)) {
        return nullptr;
    }
    MailboxRecord& record = mapping_.as<MailboxRecord>(kRecordsOffset)[index];
    return record.id.load(std::memory_order_acquire) == mailbox ? &record : nullptr;
}

Outcome Peer::openBell(std::uint32_t number, int& bell) {
    if (number >= kRecordCount) {
        fail("the inbox of process slot " + std::to_string(slot_) + " holds garbage");
        return Outcome::kFailed;
    }
    if (number >= bells_.size()) {
        bells_.resize(number + 1);
    }
    if (!bells_[number]) {
        const std::string path = Domain::processFolder(slot_) + "/bell-" + std::to_string(number);
        Descriptor opened = domain_.folder().open(path, O_RDWR);
        if (!opened) {
            return withoutPeer(domain_, slot_, incarnation_, "can't open a bell", errno);
        }
        // Strokes must not be written into a file that somebody has put there.
        struct stat status = {};
        if (fstat(opened.get(), &status) != 0 || !S_ISFIFO(status.st_mode)) {
            return withoutPeer(domain_, slot_, incarnation_, "no bell is the one", 0);
        }
        bells_[number] = std::move(opened);
    }
    bell = bells_[number].get();
    return Outcome::kDone;
}

Outcome Peer::send(std::unique_lock<std::mutex>& lock, const Parcel& parcel, bool quiet) {
    std::shared_ptr<Peer> keep;  // set where the lock is given up
    const auto unlock = [&] {
        keep = shared_from_this();
        lock.unlock();
    };

    MailboxRecord* record = find(parcel.receiver);
    if (record == nullptr) {
        return Outcome::kGone;
    }
    const std::uint32_t number = record->bell.load(std::memory_order_relaxed);
    int bell = -1;
    std::uint64_t unit = 0;
    for (;;) {
        const Outcome outcome = openBell(number, bell);
        if (outcome != Outcome::kDone) {
            return outcome;
        }
        unit = takeBlock(parcel.size);
        if (unit != 0) {
            break;
        }
        unlock();
        if (!waitForRoom(*record, bell)) {
            return Outcome::kGone;
        }
        lock.lock();
    }

    if (parcel.size > kCopiedUnderLock) {
        unlock();
    }
    auto* block = mapping_.as<Block>(unit * kUnit);
    block->size = parcel.size;
    block->sender = parcel.sender;
    block->receiver = parcel.receiver;
    block->kind = parcel.kind;
    std::memcpy(block + 1, parcel.message, parcel.size);
    const std::uint64_t waiting = publish(*record, *block, unit);
    if (waiting == 0) {
        if (!lock) {
            lock.lock();
        }
        blocks_.putBack(unit);
        return Outcome::kGone;
    }
    if (!quiet && !isBellKnownToRing(*record)) {
        if (lock) {
            unlock();  // the receiver may take the processor at once
        }
        ringBell(*record, bell, number);
    }
    if (isTimeToOfferProcessor(waiting)) {
        if (lock) {
            unlock();
        }
        offerProcessor();
    }
    return Outcome::kDone;
}

// Returns how many wait on the stack now, 0 if the mailbox is closed.
std::uint64_t Peer::publish(MailboxRecord& record, Block& block, std::uint64_t unit) {
    std::uint64_t top = record.stack.load(std::memory_order_relaxed);
    do {
        if (top == kClosedStack) {
            return 0;
        }
        block.link = top & 0xFFFFFFFF;
    } while (!record.stack.compare_exchange_weak(top, (((top >> 32) + 1) << 32) | unit,
                                                 std::memory_order_seq_cst,
                                                 std::memory_order_relaxed));
    return (top >> 32) + 1;
}

std::uint64_t Peer::takeBlock(std::uint32_t size) {
    std::uint64_t unit = blocks_.take(size);
    if (unit == 0 && isAlive()) {
        unit = blocks_.claim(size);
        if (unit == 0) {
            // Others may need what this process has too much of, and so may it itself.
            blocks_.trim();
            unit = blocks_.claim(size);
        }
    }
    return unit;
}

// Asks the owner to free what it can, and gives it a moment. False when it is gone.
bool Peer::waitForRoom(const MailboxRecord& record, int bell) {
    if (!isAlive() || record.stack.load(std::memory_order_relaxed) == kClosedStack) {
        return false;
    }
    header().waits.fetch_add(1, std::memory_order_relaxed);
    strikeBell(bell);
    const timespec moment = {0, 1'000'000};
    nanosleep(&moment, nullptr);  // shorter if a signal comes: the loop around this tries again
    return true;
}

}  // namespace itc
