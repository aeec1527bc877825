// layout.h: what processes of a domain share in memory, word for word.
//
// Private header of platform/itc.
//
// A domain has one control file, which every process maps, and one inbox file per process, which
// its owner and everyone who sends to it map. Both are versioned by kLayoutVersion: any change here
// that another process could notice must raise it.
//
// Nothing read from these files is trusted: who reads a word that another process may write checks
// it before use.
#ifndef ITC_LAYOUT_H
#define ITC_LAYOUT_H

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace itc {

constexpr std::uint32_t kLayoutVersion = 3;
constexpr std::uint64_t kControlMagic = 0x6e69616d6f647169;  // "iqdomain"
constexpr std::uint64_t kInboxMagic = 0x786f626e69717169;    // "iqqinbox"

// A mailbox id is the slot of its process (12 bits) and a counter (20 bits) that goes on when the
// slot passes to the next process, so that an id is not soon met again. Slot 0xFFF holds the
// special values of the interface, slot 0 keeps the id 0 free for "none".
constexpr std::uint32_t kFirstSlot = 1;
constexpr std::uint32_t kLastSlot = 4094;
constexpr std::uint32_t kSlotTableSize = 4096;
constexpr std::uint32_t kCounterBits = 20;
constexpr std::uint32_t kCounterMask = (1U << kCounterBits) - 1;

constexpr std::uint32_t slotOf(std::uint32_t id) {
    return id >> kCounterBits;
}
constexpr bool isSlot(std::uint32_t slot) {
    return slot >= kFirstSlot && slot <= kLastSlot;
}
constexpr std::uint32_t makeId(std::uint32_t slot, std::uint32_t counter) {
    return (slot << kCounterBits) | (counter & kCounterMask);
}

// ---- The control file --------------------------------------------------------------------------

struct ControlSlot {
    std::atomic<std::uint32_t> incarnation;  // grows with every process that takes or leaves it
    std::atomic<std::uint32_t> counter;      // of the next mailbox
};

struct Control {
    std::uint64_t magic;
    std::uint32_t version;
    std::uint32_t reserved;
    std::atomic<std::uint64_t> nameSequence;  // orders the holders of a name by age
    std::uint64_t padding[5];
    ControlSlot slots[kSlotTableSize];
};

// ---- The inbox file ----------------------------------------------------------------------------
//
//   header | lanes | records | stamps | chunks ...
//
// The chunks hold messages from other processes. A sending process claims a chunk by stamping it,
// cuts it into blocks of one size and then manages these blocks in its own memory alone; the owner
// gives a block back by pushing it on the sender's lane. So the only words that two senders ever
// contend for are the stamp of a free chunk and the stack of a mailbox, and what a killed sender
// had is found by its stamps. A chunk is freed again by its sender when all its blocks are free, by
// the owner when they all lie in the sender's lane or when the sender is dead.

constexpr std::size_t kPage = 4096;
constexpr std::size_t kUnit = 64;  // blocks begin at multiples of it; links count in it
constexpr std::size_t kChunkSize = 16384;
constexpr std::uint32_t kChunkCount = 65536;  // 1 GiB of backlog
constexpr std::uint32_t kRecordCount = 16384;
constexpr std::uint32_t kMaxMessageSize = 1U << 20;

// The header in front of every message, in an inbox as well as on the heap.
struct Block {
    union {
        Block* next;         // on the heap: in a list of one process
        std::uint64_t link;  // in an inbox: unit of the next block, 0 at the end
    };
    std::uint32_t size;  // of the message in bytes
    std::uint32_t sender;
    std::uint32_t receiver;
    std::uint32_t kind;  // a BlockKind
    // On the heap: how many blocks lay on the stack of the receiver when this one was posted. So
    // the order of the two ways to a mailbox is kept, and no message overtakes one that it depends
    // on.
    std::uint64_t pushedBefore;
};
static_assert(sizeof(Block) == 32);

// What the library itself has to say travels like messages and is never seen by users. The message
// then is a Notice.
enum BlockKind : std::uint32_t {
    kMessage = 0,
    kWatch = 1,    // from a watcher: tell me when you are gone
    kUnwatch = 2,  // from a watcher: don't
    kGone = 3,     // to a watcher: I am gone
    kLocated = 4,  // to one who asked for a name: I have it
};

struct Notice {
    std::uint32_t msgno;
    std::uint32_t number;  // the watcher's monitor id, or the request number of who asked
};

// A mailbox as senders see it.
struct alignas(128) MailboxRecord {
    std::atomic<std::uint32_t> id;  // 0: none
    std::atomic<std::uint32_t> bell;
    // Newest block that the receiver has not fetched (low word, in units) and how many there are
    // (high word); 0 when there is none, kClosed when nobody will fetch any more.
    std::atomic<std::uint64_t> stack;
    // Lowest bit: the bell holds a byte, or the receiver is about to look for messages by itself.
    // The next: a sender is about to strike it, or was killed then. Above them an era: the receiver
    // goes to the next, with neither bit, after it has emptied the bell, so that a ringer whose
    // byte is gone can't mark it. See bell.h.
    std::atomic<std::uint32_t> bellState;
    std::atomic<std::uint32_t> posted;
    std::atomic<std::uint64_t> postedBytes;
    // What the owner writes for each message lies apart from what senders use for each: a cache
    // line that both write goes from one processor to the other and back.
    alignas(64) std::atomic<std::uint32_t> fetched;
    std::atomic<std::uint32_t> taken;
    std::atomic<std::uint64_t> fetchedBytes;
    std::atomic<std::uint64_t> takenBytes;
    std::atomic<std::uint32_t> mostQueued;  // posted or fetched and not taken, at any time
    std::atomic<std::int32_t> tid;
    std::atomic<std::int64_t> openedAt;  // milliseconds on the monotonic clock
};
static_assert(sizeof(MailboxRecord) == 128);

constexpr std::uint64_t kEmptyStack = 0;
constexpr std::uint64_t kClosedStack = 0xFFFFFFFF;

// Blocks on their way back to the process in this slot: its incarnation (high word), so that blocks
// of its predecessor are never mixed in, and the unit of the newest block (low word).
struct alignas(64) Lane {
    std::atomic<std::uint64_t> returned;
};

// Who claimed a chunk, and how it is cut; 0 for a free one.
//   bits 0-31 incarnation, 32-43 slot, 44-51 cut, 52-63 chunks in the span
using Stamp = std::uint64_t;
constexpr std::uint32_t kSpanHead = 0xFE;  // one block that covers this chunk and those that follow
constexpr std::uint32_t kSpanTail = 0xFF;

constexpr Stamp makeStamp(std::uint32_t slot, std::uint32_t incarnation, std::uint32_t cut,
                          std::uint32_t span) {
    return incarnation | (static_cast<Stamp>(slot) << 32) | (static_cast<Stamp>(cut) << 44) |
           (static_cast<Stamp>(span) << 52);
}
constexpr std::uint32_t stampIncarnation(Stamp stamp) {
    return static_cast<std::uint32_t>(stamp);
}
constexpr std::uint32_t stampSlot(Stamp stamp) {
    return static_cast<std::uint32_t>(stamp >> 32) & 0xFFF;
}
constexpr std::uint32_t stampCut(Stamp stamp) {
    return static_cast<std::uint32_t>(stamp >> 44) & 0xFF;
}
constexpr std::uint32_t stampSpan(Stamp stamp) {
    return static_cast<std::uint32_t>(stamp >> 52);
}

struct InboxHeader {
    std::uint64_t magic;
    std::uint32_t version;
    std::uint32_t slot;
    std::uint32_t incarnation;
    std::int32_t pid;
    std::uint32_t firstCounter;                  // the counter of the mailbox in record 0
    std::atomic<std::uint32_t> recordsReserved;  // records and
    std::atomic<std::uint32_t> stampsReserved;   // stamps that have memory behind them
    // Chunks claimed so far: when it has moved far enough the owner looks for chunks to free.
    std::atomic<std::uint32_t> claims;
    // Moved by every sender that finds no room: the owner then frees what it can.
    std::atomic<std::uint32_t> waits;
    // Messages that the owner gave up because their receiver was gone.
    std::atomic<std::uint32_t> undelivered;
};

constexpr std::size_t kLanesOffset = kPage;
constexpr std::size_t kRecordsOffset = kLanesOffset + sizeof(Lane) * kSlotTableSize;
constexpr std::size_t kStampsOffset = kRecordsOffset + sizeof(MailboxRecord) * kRecordCount;
constexpr std::size_t kChunksOffset =
    (kStampsOffset + sizeof(Stamp) * kChunkCount + kChunkSize - 1) / kChunkSize * kChunkSize;
constexpr std::size_t kInboxSize = kChunksOffset + kChunkSize * kChunkCount;
static_assert(sizeof(InboxHeader) <= kPage);
static_assert(kStampsOffset % kPage == 0 && kChunksOffset % kChunkSize == 0);

static_assert(std::atomic<std::uint64_t>::is_always_lock_free);
static_assert(std::atomic<std::uint32_t>::is_always_lock_free);

// The sizes into which a chunk is cut, header included; a larger block gets a span of its own.
constexpr std::uint32_t kCuts[] = {0,    128,  192,  256,  384,  512,  768,
                                   1024, 1536, 2048, 2688, 4096, 5440, 8192};
constexpr std::uint32_t kCutCount = sizeof(kCuts) / sizeof(kCuts[0]);
constexpr std::uint32_t kMaxSpan =
    static_cast<std::uint32_t>((kMaxMessageSize + sizeof(Block) + kChunkSize - 1) / kChunkSize);
// No inbox can hold more blocks than this: a longer chain of them is a circle.
constexpr std::uint64_t kMaxBlocks = std::uint64_t{kChunkCount} * (kChunkSize / kCuts[1]);

constexpr std::uint64_t unitOfChunk(std::uint32_t chunk) {
    return (kChunksOffset + std::uint64_t{chunk} * kChunkSize) / kUnit;
}
// `unit` must be that of a block in a chunk.
constexpr std::uint32_t chunkOfUnit(std::uint64_t unit) {
    return static_cast<std::uint32_t>((unit * kUnit - kChunksOffset) / kChunkSize);
}
constexpr bool isInChunks(std::uint64_t unit) {
    return unit >= unitOfChunk(0) && unit < unitOfChunk(kChunkCount);
}
// How many bytes the block at `unit` has, its header included, if its chunk has the stamp `stamp`;
// 0 if no block begins there.
constexpr std::size_t roomAt(std::uint64_t unit, Stamp stamp) {
    const std::uint32_t cut = stampCut(stamp);
    const std::size_t within = (unit * kUnit - kChunksOffset) % kChunkSize;
    if (cut == kSpanHead) {
        const std::uint32_t span = stampSpan(stamp);
        const bool fits =
            within == 0 && span > 0 && span <= kMaxSpan && chunkOfUnit(unit) + span <= kChunkCount;
        return fits ? span * kChunkSize : 0;
    }
    if (cut == 0 || cut >= kCutCount || within % kCuts[cut] != 0 ||
        within + kCuts[cut] > kChunkSize) {
        return 0;
    }
    return kCuts[cut];
}
// Into how many blocks a chunk with the stamp `stamp` of a block is cut.
constexpr std::uint32_t blocksPerChunk(Stamp stamp) {
    return stampCut(stamp) == kSpanHead
               ? 1
               : static_cast<std::uint32_t>(kChunkSize / kCuts[stampCut(stamp)]);
}
// How many chunks a block with the stamp `stamp` takes up.
constexpr std::uint32_t chunksOf(Stamp stamp) {
    return stampCut(stamp) == kSpanHead ? stampSpan(stamp) : 1;
}

}  // namespace itc

#endif
