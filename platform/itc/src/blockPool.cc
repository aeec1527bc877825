#include "blockPool.h"

#include "error.h"
#include "zeroedArray.h"

#include <algorithm>
#include <cerrno>

namespace itc {

namespace {

// So many free bytes are kept without a thought.
constexpr std::size_t kKeptBytes = std::size_t{16} << 20;

std::uint32_t cutFor(std::size_t size) {
    for (std::uint32_t cut = 1; cut < kCutCount; ++cut) {
        if (size <= kCuts[cut]) {
            return cut;
        }
    }
    return kSpanHead;
}

std::uint32_t spanFor(std::size_t size) {
    return static_cast<std::uint32_t>((size + kChunkSize - 1) / kChunkSize);
}

}  // namespace

BlockPool::BlockPool(const Mapping& inbox, int file, std::uint32_t ownSlot,
                     std::uint32_t ownIncarnation)
    : inbox_(inbox),
      file_(file),
      ownSlot_(ownSlot),
      ownIncarnation_(ownIncarnation),
      lane_(inbox.as<Lane>(kLanesOffset)[ownSlot].returned),
      trimAt_(kKeptBytes) {
    lane_.store(std::uint64_t{ownIncarnation} << 32);
}

std::uint32_t BlockPool::stampsReserved() const {
    return std::min(header().stampsReserved.load(std::memory_order_acquire), kChunkCount);
}

std::uint64_t BlockPool::take(std::uint32_t size) {
    const std::size_t wanted = size + sizeof(Block);
    const std::uint32_t cut = cutFor(wanted);
    std::vector<std::uint64_t>& blocks =
        cut != kSpanHead ? freeBlocks_[cut] : freeSpans_[spanFor(wanted)];
    if (blocks.empty()) {
        collectReturned();
        if (blocks.empty()) {
            return 0;
        }
    }
    const std::uint64_t unit = blocks.back();
    blocks.pop_back();
    return unit;
}

void BlockPool::putBack(std::uint64_t unit) {
    const Stamp claimed = stamp(chunkOfUnit(unit)).load(std::memory_order_relaxed);
    if (roomAt(unit, claimed) == 0) {
        return;
    }
    if (stampCut(claimed) == kSpanHead) {
        freeSpans_[stampSpan(claimed)].push_back(unit);
    } else {
        freeBlocks_[stampCut(claimed)].push_back(unit);
    }
}

void BlockPool::collectReturned() {
    const std::uint64_t era = std::uint64_t{ownIncarnation_} << 32;
    std::uint64_t unit = lane_.exchange(era, std::memory_order_acquire) & 0xFFFFFFFF;
    for (std::uint64_t left = kMaxBlocks; left > 0 && isInChunks(unit); --left) {
        const Stamp claimed = stamp(chunkOfUnit(unit)).load(std::memory_order_relaxed);
        if (stampSlot(claimed) != ownSlot_ || stampIncarnation(claimed) != ownIncarnation_) {
            break;
        }
        const std::uint64_t next = inbox_.as<Block>(unit * kUnit)->link;
        putBack(unit);
        unit = next;
    }
    if (freeBytes() > trimAt_) {
        trim();
        trimAt_ = std::max(kKeptBytes, 2 * freeBytes());
    }
}

std::size_t BlockPool::freeBytes() const {
    std::size_t bytes = 0;
    for (std::uint32_t cut = 1; cut < kCutCount; ++cut) {
        bytes += freeBlocks_[cut].size() * kCuts[cut];
    }
    for (std::uint32_t span = 1; span <= kMaxSpan; ++span) {
        bytes += freeSpans_[span].size() * span * kChunkSize;
    }
    return bytes;
}

std::uint64_t BlockPool::claim(std::uint32_t size) {
    const std::size_t wanted = size + sizeof(Block);
    const std::uint32_t cut = cutFor(wanted);
    const std::uint32_t span = spanFor(wanted);
    for (;;) {
        const std::uint32_t reserved = stampsReserved();
        for (std::uint32_t tried = 0; tried < reserved; ++tried) {
            const std::uint32_t chunk = (searchFrom_ + tried) % reserved;
            if (stamp(chunk).load(std::memory_order_relaxed) != 0 || chunk + span > reserved) {
                continue;
            }
            const Claim outcome = tryClaim(chunk, cut, span);
            if (outcome == Claim::kNoMemory) {
                return 0;
            }
            if (outcome == Claim::kDone) {
                searchFrom_ = (chunk + span) % reserved;
                return unitOfChunk(chunk);
            }
        }
        if (!growStamps(reserved)) {
            fail("the inbox of a receiver is full");
            return 0;
        }
    }
}

// The last stamp to be written is the one that says what the span is: until then, and if the
// process is killed before, all its chunks are tails without a head.
BlockPool::Claim BlockPool::tryClaim(std::uint32_t chunk, std::uint32_t cut, std::uint32_t span) {
    const Stamp part = makeStamp(ownSlot_, ownIncarnation_, kSpanTail, 0);
    for (std::uint32_t claimed = 0; claimed < span; ++claimed) {
        Stamp expected = 0;
        if (!stamp(chunk + claimed)
                 .compare_exchange_strong(expected, part, std::memory_order_acq_rel,
                                          std::memory_order_relaxed)) {
            giveUp(chunk, claimed);
            return Claim::kTaken;
        }
    }
    if (!reserveSpace(file_, kChunksOffset + chunk * kChunkSize, span * kChunkSize)) {
        fail("no room for messages in the inbox of a receiver", errno);
        giveUp(chunk, span);
        return Claim::kNoMemory;
    }
    header().claims.fetch_add(span, std::memory_order_relaxed);
    const Stamp whole = makeStamp(ownSlot_, ownIncarnation_, cut, span);
    stamp(chunk).store(whole, std::memory_order_release);
    for (std::uint32_t block = 1; block < blocksPerChunk(whole); ++block) {
        freeBlocks_[cut].push_back(unitOfChunk(chunk) + std::uint64_t{block} * kCuts[cut] / kUnit);
    }
    return Claim::kDone;
}

// If the process is killed on the way, the rest has the stamp of a dead sender.
void BlockPool::giveUp(std::uint32_t chunk, std::uint32_t count) {
    for (std::uint32_t given = 0; given < count; ++given) {
        stamp(chunk + given).store(0, std::memory_order_release);
    }
}

bool BlockPool::growStamps(std::uint32_t reserved) {
    constexpr std::uint32_t perPage = kPage / sizeof(Stamp);
    if (reserved >= kChunkCount ||
        !reserveSpace(file_, kStampsOffset + reserved * sizeof(Stamp), kPage)) {
        return false;
    }
    // Whoever else grew it meanwhile has reserved the same page.
    std::uint32_t expected = reserved;
    header().stampsReserved.compare_exchange_strong(expected, reserved + perPage);
    return true;
}

void BlockPool::trim() {
    const ZeroedArray<std::uint16_t> freeOf(kChunkCount);
    std::vector<std::uint32_t> wholeChunks;
    const auto isWhole = [this, &freeOf](std::uint64_t unit) {
        const std::uint32_t chunk = chunkOfUnit(unit);
        const Stamp claimed = stamp(chunk).load(std::memory_order_relaxed);
        return roomAt(unit, claimed) != 0 && freeOf[chunk] >= blocksPerChunk(claimed);
    };
    const auto takeIfWhole = [&](std::uint64_t unit) {
        const bool isIt = isWhole(unit);
        if (isIt && unit == unitOfChunk(chunkOfUnit(unit))) {
            wholeChunks.push_back(chunkOfUnit(unit));
        }
        return isIt;
    };
    const auto keepTheRest = [&](std::vector<std::uint64_t>& blocks) {
        for (const std::uint64_t unit : blocks) {
            ++freeOf[chunkOfUnit(unit)];
        }
        blocks.erase(std::remove_if(blocks.begin(), blocks.end(), takeIfWhole), blocks.end());
    };
    for (std::vector<std::uint64_t>& blocks : freeBlocks_) {
        keepTheRest(blocks);
    }
    for (std::vector<std::uint64_t>& spans : freeSpans_) {
        keepTheRest(spans);
    }
    for (const std::uint32_t chunk : wholeChunks) {
        const std::uint32_t count = chunksOf(stamp(chunk).load(std::memory_order_relaxed));
        returnSpace(file_, kChunksOffset + chunk * kChunkSize, count * kChunkSize);
        giveUp(chunk, count);
    }
}

}  // namespace itc
