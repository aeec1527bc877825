// blockPool.h: the blocks that this process has in the inbox of another.
//
// Private header of platform/itc.
//
// Which of them are free is known in private memory alone, so that taking one costs no operation on
// shared memory. The owner of the inbox returns a block by pushing it on this process's lane; the
// whole lane is collected at once when no free block of the wanted size is left. Chunks go back
// when all their blocks are free and there are many of them or somebody needs room.
//
// Not locked: its Peer does that.
#ifndef ITC_BLOCKPOOL_H
#define ITC_BLOCKPOOL_H

#include "layout.h"
#include "mapping.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <vector>

namespace itc {

class BlockPool {
public:
    // For the process in `ownSlot`, which makes no other pool for this inbox. All of the lane's
    // page must have memory behind it.
    BlockPool(const Mapping& inbox, int file, std::uint32_t ownSlot, std::uint32_t ownIncarnation);

    // The unit of a free block for a message of `size` bytes; 0 if there is none.
    std::uint64_t take(std::uint32_t size);
    // The same from chunks that nobody had so far; 0, with an error text, if there is no room.
    std::uint64_t claim(std::uint32_t size);
    // Takes back a block that was not sent.
    void putBack(std::uint64_t unit);
    // Gives up the chunks whose blocks are all free.
    void trim();

private:
    InboxHeader& header() const { return *inbox_.as<InboxHeader>(); }
    std::atomic<Stamp>& stamp(std::uint32_t chunk) const {
        return inbox_.as<std::atomic<Stamp>>(kStampsOffset)[chunk];
    }
    std::uint32_t stampsReserved() const;
    void collectReturned();
    std::size_t freeBytes() const;
    enum class Claim { kDone, kTaken, kNoMemory };
    Claim tryClaim(std::uint32_t chunk, std::uint32_t cut, std::uint32_t span);
    void giveUp(std::uint32_t chunk, std::uint32_t count);
    bool growStamps(std::uint32_t reserved);

    const Mapping& inbox_;
    const int file_;
    const std::uint32_t ownSlot_;
    const std::uint32_t ownIncarnation_;
    std::atomic<std::uint64_t>& lane_;
    std::array<std::vector<std::uint64_t>, kCutCount> freeBlocks_;
    std::array<std::vector<std::uint64_t>, kMaxSpan + 1> freeSpans_;
    std::uint32_t searchFrom_ = 0;
    std::size_t trimAt_;
};

}  // namespace itc

#endif
