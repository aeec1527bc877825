#include "inbox.h"

#include "error.h"
#include "itc.h"

#include <algorithm>
#include <cerrno>

#include <sys/resource.h>
#include <unistd.h>

namespace itc {

namespace {

// A file that grows beyond the limit of its process costs it a signal.
bool mayBeAsLargeAs(std::size_t size) {
    rlimit limit = {};
    return getrlimit(RLIMIT_FSIZE, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY ||
           limit.rlim_cur >= size;
}

}  // namespace

std::unique_ptr<Inbox> Inbox::create(const Domain& domain, const std::string& folder,
                                     std::uint32_t slot) {
    std::unique_ptr<Inbox> inbox(new Inbox);
    if (!mayBeAsLargeAs(kInboxSize)) {
        fail("an inbox needs a file size limit of at least " + std::to_string(kInboxSize) +
             " bytes (RLIMIT_FSIZE)");
        return nullptr;
    }
    inbox->file_ = domain.makeFile(folder + "/inbox");
    if (!inbox->file_) {
        return nullptr;
    }
    const int file = inbox->file_.get();
    if (ftruncate(file, kInboxSize) != 0 || !reserveSpace(file, 0, kPage) ||
        !reserveSpace(file, kStampsOffset, kPage)) {
        fail("no room for an inbox in the mailbox domain", errno);
        return nullptr;
    }
    inbox->mapping_ = Mapping::shared(file, kInboxSize, true);
    if (!inbox->mapping_) {
        fail("can't map the inbox", errno);
        return nullptr;
    }
    inbox->firstCounter_ = domain.slot(slot).counter.load() & kCounterMask;
    InboxHeader& header = inbox->header();
    header.magic = kInboxMagic;
    header.version = kLayoutVersion;
    header.slot = slot;
    header.incarnation = domain.slot(slot).incarnation.load();
    header.pid = getpid();
    header.firstCounter = inbox->firstCounter_;
    header.stampsReserved = kPage / sizeof(Stamp);
    return inbox;
}

bool Inbox::reserveRecord(std::uint32_t index) {
    constexpr std::uint32_t perPage = kPage / sizeof(MailboxRecord);
    if (index < recordsReserved_) {
        return true;
    }
    const std::uint32_t wanted = (index / perPage + 1) * perPage;
    if (!reserveSpace(file_.get(), kRecordsOffset + recordsReserved_ * sizeof(MailboxRecord),
                      (wanted - recordsReserved_) * sizeof(MailboxRecord))) {
        return fail("no room for another mailbox in the mailbox domain", errno);
    }
    recordsReserved_ = wanted;
    header().recordsReserved.store(wanted, std::memory_order_release);
    return true;
}

std::uint64_t Inbox::unitOf(const Block* block) const {
    return static_cast<std::uint64_t>(reinterpret_cast<const char*>(block) - mapping_.at(0)) /
           kUnit;
}

Block* Inbox::block(std::uint64_t unit) const {
    if (!isInChunks(unit) ||
        chunkOfUnit(unit) >= header().stampsReserved.load(std::memory_order_acquire)) {
        return nullptr;
    }
    const Stamp claimed = stamp(chunkOfUnit(unit)).load(std::memory_order_acquire);
    const std::size_t room = roomAt(unit, claimed);
    if (room == 0) {
        return nullptr;
    }
    const std::uint32_t size = blockAt(unit)->size;
    const bool fits =
        size >= sizeof(itc_msg) && size <= room - sizeof(Block) && size <= kMaxMessageSize;
    return fits ? blockAt(unit) : nullptr;
}

std::size_t Inbox::mostBlocks() const {
    const std::uint32_t chunks = header().stampsReserved.load(std::memory_order_relaxed);
    return std::size_t{std::min(chunks, kChunkCount)} * (kChunkSize / kCuts[1]);
}

std::uint32_t Inbox::capacity(const Block* block) const {
    const std::uint64_t unit = unitOf(block);
    if (!isInChunks(unit)) {
        return 0;
    }
    const std::size_t room = roomAt(unit, stamp(chunkOfUnit(unit)).load(std::memory_order_relaxed));
    return room == 0 ? 0
                     : static_cast<std::uint32_t>(
                           std::min<std::size_t>(room - sizeof(Block), kMaxMessageSize));
}

void Inbox::hold(const Block* block) {
    held_[chunkOfUnit(unitOf(block))].fetch_add(1, std::memory_order_relaxed);
}

bool Inbox::reserveLane(std::uint32_t slot) {
    const std::size_t page = slot * sizeof(Lane) / kPage;
    if (!lanePageReserved_[page].load(std::memory_order_relaxed)) {
        if (!reserveSpace(file_.get(), kLanesOffset + page * kPage, kPage)) {
            return false;
        }
        lanePageReserved_[page].store(true, std::memory_order_relaxed);
    }
    return true;
}

// Once the count drops, a reclaim may free the chunk; so the block goes back first.
void Inbox::release(Block* block) {
    const std::uint64_t unit = unitOf(block);
    const std::uint32_t chunk = chunkOfUnit(unit);
    const Stamp claimed = stamp(chunk).load(std::memory_order_relaxed);
    if (isSlot(stampSlot(claimed)) && reserveLane(stampSlot(claimed))) {
        std::atomic<std::uint64_t>& returned = lane(stampSlot(claimed)).returned;
        std::uint64_t top = returned.load(std::memory_order_relaxed);
        // A lane of another incarnation is not for this block: its sender is dead.
        while (top >> 32 == stampIncarnation(claimed)) {
            block->link = top & 0xFFFFFFFF;
            if (returned.compare_exchange_weak(top, (top & ~std::uint64_t{0xFFFFFFFF}) | unit,
                                               std::memory_order_release,
                                               std::memory_order_relaxed)) {
                break;
            }
        }
    }
    held_[chunk].fetch_sub(1, std::memory_order_release);
}

}  // namespace itc
