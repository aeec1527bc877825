// inbox.h: where the messages from other processes arrive, seen from its owner.
//
// Private header of platform/itc.
//
// The owner lays the file out and gives mailboxes their records; senders do the rest (blockPool.h).
// The owner counts in memory of its own how many blocks of each chunk its users hold, so that it
// can tell when a chunk of a dead sender is free, whatever the sender was doing when it died: a
// block of a dead sender is either in the stack of a mailbox, or held, or nobody's.
#ifndef ITC_INBOX_H
#define ITC_INBOX_H

#include "descriptor.h"
#include "domain.h"
#include "layout.h"
#include "mapping.h"
#include "zeroedArray.h"

#include <array>
#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace itc {

class Inbox {
public:
    // Makes `folder`/inbox for the process in `slot`. Null on failure.
    static std::unique_ptr<Inbox> create(const Domain& domain, const std::string& folder,
                                         std::uint32_t slot);

    // Which record belongs to a mailbox id of this process.
    std::uint32_t recordIndex(std::uint32_t mailbox) const {
        return (mailbox - firstCounter_) & (kRecordCount - 1);
    }
    MailboxRecord& record(std::uint32_t index) const {
        return mapping_.as<MailboxRecord>(kRecordsOffset)[index];
    }
    // Puts memory behind the record; one thread at a time. False when there is none.
    bool reserveRecord(std::uint32_t index);

    // Whether `message` lies in this inbox rather than on the heap.
    bool contains(const void* message) const { return mapping_.contains(message); }
    // The block at `unit` of a stack, with room for at least its size; null if it can't be one.
    Block* block(std::uint64_t unit) const;
    // No stack can hold more blocks.
    std::size_t mostBlocks() const;
    // How many message bytes the block has room for.
    std::uint32_t capacity(const Block* block) const;

    // Counts a block that was fetched from a stack as held.
    void hold(const Block* block);
    // Gives a held block back to its sender.
    void release(Block* block);

    // Frees the chunks of dead senders and, of living ones that have many or if somebody waits for
    // room, those whose blocks have all come back.
    // `forEachStack` calls its argument with the stack of each mailbox of the process, one after
    // the other, and keeps the receiver from fetching from it meanwhile.
    using StackVisit = std::function<void(std::uint64_t stack)>;
    using ForEachStack = std::function<void(const StackVisit&)>;
    void reclaim(const Domain& domain, const ForEachStack& forEachStack);
    // Whether enough has happened that there may be something to free, or somebody waits for it.
    bool reclaimIsDue() const {
        return header().claims.load(std::memory_order_relaxed) -
                       claimsSeen_.load(std::memory_order_relaxed) >=
                   kClaimStride ||
               header().waits.load(std::memory_order_relaxed) !=
                   waitsSeen_.load(std::memory_order_relaxed);
    }
    void countUndelivered() const { header().undelivered.fetch_add(1, std::memory_order_relaxed); }
    // Whether a living sender had more chunks than it needs for long.
    bool isLarge() const { return large_.load(std::memory_order_relaxed); }

private:
    // So many claims may go by before the owner looks for chunks to free,
    static constexpr std::uint32_t kClaimStride = 64;
    // and so many chunks are left to each living sender.
    static constexpr std::uint32_t kKeptChunks = 512;

    // What the stamps tell about a sender.
    struct Sender {
        bool dead = false;
        std::uint32_t chunks = 0;
    };
    using Senders = std::map<Stamp, Sender>;

    Inbox() = default;
    InboxHeader& header() const { return *mapping_.as<InboxHeader>(); }
    std::atomic<Stamp>& stamp(std::uint32_t chunk) const {
        return mapping_.as<std::atomic<Stamp>>(kStampsOffset)[chunk];
    }
    Lane& lane(std::uint32_t slot) const { return mapping_.as<Lane>(kLanesOffset)[slot]; }
    Block* blockAt(std::uint64_t unit) const { return mapping_.as<Block>(unit * kUnit); }
    std::uint64_t unitOf(const Block* block) const;
    bool reserveLane(std::uint32_t slot);

    Senders countChunks(const Domain& domain, std::uint32_t chunks) const;
    void freeChunksOfDead(const Senders& senders, std::uint32_t chunks,
                          const ForEachStack& forEachStack);
    std::uint32_t freeReturnedChunks(std::uint32_t slot, std::uint32_t incarnation,
                                     std::uint32_t limit);
    void freeChunks(std::uint32_t chunk, std::uint32_t count);

    Descriptor file_;
    Mapping mapping_;
    std::uint32_t firstCounter_ = 0;
    std::uint32_t recordsReserved_ = 0;
    std::array<std::atomic<bool>, kSlotTableSize * sizeof(Lane) / kPage> lanePageReserved_ = {};
    ZeroedArray<std::atomic<std::uint32_t>> held_{kChunkCount};

    std::mutex reclaimMutex_;
    std::atomic<std::uint32_t> claimsSeen_{0};
    std::atomic<std::uint32_t> waitsSeen_{0};
    std::atomic<bool> large_{false};
};

}  // namespace itc

#endif
