// Freeing the chunks of an inbox.
//
// A living sender knows its free blocks in memory of its own, except for those that lie in its
// lane: these the owner may take out again, and free the chunks of which it then has every block. A
// dead sender knows nothing any more: its chunks are free as soon as no block of them is in a stack
// or in a user's hands.

#include "inbox.h"

#include <algorithm>
#include <tuple>

namespace itc {

namespace {

constexpr Stamp kSenderBits = (Stamp{1} << 44) - 1;  // slot and incarnation

}  // namespace

void Inbox::reclaim(const Domain& domain, const ForEachStack& forEachStack) {
    const std::unique_lock<std::mutex> lock(reclaimMutex_, std::try_to_lock);
    if (!lock) {
        return;
    }
    claimsSeen_.store(header().claims.load(std::memory_order_relaxed), std::memory_order_relaxed);
    const std::uint32_t waits = header().waits.load(std::memory_order_relaxed);
    const std::uint32_t kept =
        waits == waitsSeen_.exchange(waits, std::memory_order_relaxed) ? kKeptChunks : 0;

    const std::uint32_t chunks =
        std::min(header().stampsReserved.load(std::memory_order_acquire), kChunkCount);
    const Senders senders = countChunks(domain, chunks);
    bool large = false;
    bool anyDead = false;
    for (const auto& [sender, found] : senders) {
        anyDead = anyDead || found.dead;
        if (!found.dead && found.chunks > kept) {
            const std::uint32_t freed = freeReturnedChunks(
                stampSlot(sender), stampIncarnation(sender), found.chunks - kept);
            large = large || found.chunks - freed > kKeptChunks;
        }
    }
    large_.store(large, std::memory_order_relaxed);
    if (anyDead) {
        freeChunksOfDead(senders, chunks, forEachStack);
    }
}

Inbox::Senders Inbox::countChunks(const Domain& domain, std::uint32_t chunks) const {
    Senders senders;
    auto last = senders.end();
    for (std::uint32_t chunk = 0; chunk < chunks; ++chunk) {
        const Stamp claimed = stamp(chunk).load(std::memory_order_acquire);
        if (claimed == 0) {
            continue;
        }
        const Stamp sender = claimed & kSenderBits;
        if (last == senders.end() || last->first != sender) {
            bool isNew = false;
            std::tie(last, isNew) = senders.try_emplace(sender);
            if (isNew) {
                const std::uint32_t slot = stampSlot(claimed);
                last->second.dead =
                    !isSlot(slot) || !domain.isAlive(slot) ||
                    domain.slot(slot).incarnation.load() != stampIncarnation(claimed);
            }
        }
        ++last->second.chunks;
    }
    return senders;
}

// The dead publish nothing new: a block of theirs moves from a stack to its holder and then is
// free. Looking at the stacks first and at the counts after that can't miss one.
void Inbox::freeChunksOfDead(const Senders& senders, std::uint32_t chunks,
                             const ForEachStack& forEachStack) {
    std::vector<bool> candidate(chunks, false);
    for (std::uint32_t chunk = 0; chunk < chunks; ++chunk) {
        const auto sender =
            senders.find(stamp(chunk).load(std::memory_order_acquire) & kSenderBits);
        candidate[chunk] = sender != senders.end() && sender->second.dead;
    }
    forEachStack([this, &candidate](std::uint64_t stack) {
        std::uint64_t unit = stack & 0xFFFFFFFF;
        for (std::uint64_t left = std::min(stack >> 32, kMaxBlocks); left > 0 && unit != 0;
             --left) {
            const Block* queued = block(unit);
            if (queued == nullptr) {
                break;
            }
            if (const std::uint32_t chunk = chunkOfUnit(unit); chunk < candidate.size()) {
                candidate[chunk] = false;
            }
            unit = queued->link;
        }
    });
    std::uint32_t firstToFree = 0;  // a run of chunks that can be freed ends before `chunk`
    std::uint32_t keptUntil = 0;    // the rest of a span in use is in use as well
    for (std::uint32_t chunk = 0; chunk < chunks; ++chunk) {
        const Stamp claimed = stamp(chunk).load(std::memory_order_relaxed);
        const bool isFree = candidate[chunk] && chunk >= keptUntil &&
                            held_[chunk].load(std::memory_order_acquire) == 0;
        if (!isFree) {
            if (claimed != 0 && chunk >= keptUntil) {
                keptUntil = chunk + chunksOf(claimed);
            }
            freeChunks(firstToFree, chunk - firstToFree);
            firstToFree = chunk + 1;
        }
    }
    freeChunks(firstToFree, chunks - firstToFree);
}

// Returns how many chunks were freed, about `limit` at most.
std::uint32_t Inbox::freeReturnedChunks(std::uint32_t slot, std::uint32_t incarnation,
                                        std::uint32_t limit) {
    if (!reserveLane(slot)) {
        return 0;
    }
    // Never by a plain exchange: the lane may pass to the next process in the slot at any time.
    std::atomic<std::uint64_t>& returned = lane(slot).returned;
    const std::uint64_t era = std::uint64_t{incarnation} << 32;
    std::uint64_t top = returned.load(std::memory_order_relaxed);
    do {
        if (top >> 32 != incarnation || top == era) {
            return 0;
        }
    } while (!returned.compare_exchange_weak(top, era, std::memory_order_acquire,
                                             std::memory_order_relaxed));
    std::vector<std::uint64_t> units;
    std::vector<std::uint16_t> returnedOf(kChunkCount, 0);
    for (std::uint64_t unit = top & 0xFFFFFFFF; isInChunks(unit) && units.size() < kMaxBlocks;
         unit = blockAt(unit)->link) {
        const Stamp claimed = stamp(chunkOfUnit(unit)).load(std::memory_order_relaxed);
        if ((claimed & kSenderBits) != (makeStamp(slot, incarnation, 0, 0) & kSenderBits) ||
            roomAt(unit, claimed) == 0) {
            break;
        }
        units.push_back(unit);
        ++returnedOf[chunkOfUnit(unit)];
    }

    std::uint32_t freed = 0;
    constexpr std::uint16_t kFreed = 0xFFFF;  // more than any chunk has blocks
    for (const std::uint64_t unit : units) {
        const std::uint32_t chunk = chunkOfUnit(unit);
        const Stamp claimed = stamp(chunk).load(std::memory_order_relaxed);
        if (freed < limit && roomAt(unit, claimed) != 0 &&
            returnedOf[chunk] == blocksPerChunk(claimed)) {
            returnedOf[chunk] = kFreed;
            freed += chunksOf(claimed);
            freeChunks(chunk, chunksOf(claimed));
        }
    }
    Block* last = nullptr;
    std::uint64_t first = 0;
    for (auto unit = units.rbegin(); unit != units.rend(); ++unit) {
        if (returnedOf[chunkOfUnit(*unit)] != kFreed) {
            Block* rest = blockAt(*unit);
            last = last == nullptr ? rest : last;
            rest->link = first;
            first = *unit;
        }
    }
    if (last == nullptr) {
        return freed;
    }
    top = returned.load(std::memory_order_relaxed);
    do {
        if (top >> 32 != incarnation) {
            break;  // the sender has died meanwhile
        }
        last->link = top & 0xFFFFFFFF;
    } while (!returned.compare_exchange_weak(top, era | first, std::memory_order_release,
                                             std::memory_order_relaxed));
    return freed;
}

void Inbox::freeChunks(std::uint32_t chunk, std::uint32_t count) {
    if (count == 0) {
        return;
    }
    returnSpace(file_.get(), kChunksOffset + chunk * kChunkSize, count * kChunkSize);
    for (std::uint32_t freed = 0; freed < count; ++freed) {
        stamp(chunk + freed).store(0, std::memory_order_release);
    }
}

}  // namespace itc
