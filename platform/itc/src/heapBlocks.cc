#include "heapBlocks.h"

#include "threadEnd.h"

#include <array>
#include <cstddef>
#include <cstdlib>
#include <mutex>
#include <new>
#include <utility>

namespace itc {

namespace {

// Headers included. Larger messages cost so much to fill that the heap's share is small.
constexpr std::array<std::size_t, 4> kSizes = {128, 256, 512, 1024};
constexpr std::uint32_t kChainLength = 32;
constexpr std::size_t kDepotBytes = std::size_t{4} << 20;  // for each of the sizes

// AddressSanitizer finds the use of a message after its end only if it really goes.
#if defined(__SANITIZE_ADDRESS__)
constexpr bool kKeepsBlocks = false;
#elif defined(__has_feature)
constexpr bool kKeepsBlocks = !__has_feature(address_sanitizer);
#else
constexpr bool kKeepsBlocks = true;
#endif

std::size_t sizeClass(std::size_t size) {
    std::size_t index = 0;
    while (index < kSizes.size() && size > kSizes[index]) {
        ++index;
    }
    return kKeepsBlocks ? index : kSizes.size();
}

// Blocks that are linked by Block::next.
struct Chain {
    Block* first = nullptr;
    std::uint32_t length = 0;

    void push(Block* block) {
        block->next = first;
        first = block;
        ++length;
    }
    Block* pop() {
        --length;
        return std::exchange(first, first->next);
    }
};

void freeAll(Chain chain) {
    while (chain.length > 0) {
        std::free(chain.pop());
    }
}

// Full chains of blocks of one size.
class Depot {
public:
    bool give(const Chain& chain, std::size_t blockSize) {
        const std::unique_lock<std::mutex> lock(mutex_, std::try_to_lock);
        if (!lock || count_ * kChainLength * blockSize >= kDepotBytes) {
            return false;
        }
        chains_[count_++] = chain.first;
        return true;
    }
    Chain take() {
        const std::unique_lock<std::mutex> lock(mutex_, std::try_to_lock);
        return lock && count_ > 0 ? Chain{chains_[--count_], kChainLength} : Chain{};
    }

private:
    std::mutex mutex_;
    std::size_t count_ = 0;
    std::array<Block*, kDepotBytes / kChainLength / kSizes[0]> chains_ = {};
};

std::array<Depot, kSizes.size()> depots;

// The blocks of one thread: for each size one chain to take from and give to, and a full one in
// reserve, so that a thread at the edge of a chain does not go to the depot for every message.
// Where they can't be freed at the end of the thread, it has none.
class OwnBlocks {
public:
    void freeAtThreadEnd() {
        for (auto& [chain, reserve] : kept_) {
            freeAll(std::exchange(chain, {}));
            freeAll(std::exchange(reserve, {}));
        }
    }

    Block* take(std::size_t size) {
        auto& [chain, reserve] = kept_[size];
        if (chain.length == 0) {
            if (reserve.length != 0) {
                chain = std::exchange(reserve, {});
            } else if (mayKeep()) {
                chain = depots[size].take();
            }
        }
        return chain.length != 0 ? chain.pop() : nullptr;
    }
    bool give(Block* block, std::size_t size) {
        if (!mayKeep()) {
            return false;
        }
        auto& [chain, reserve] = kept_[size];
        if (chain.length == kChainLength) {
            if (reserve.length != 0 && !depots[size].give(reserve, kSizes[size])) {
                freeAll(reserve);
            }
            reserve = std::exchange(chain, {});
        }
        chain.push(block);
        return true;
    }

private:
    struct Kept {
        Chain chain;
        Chain reserve;
    };

    static bool mayKeep();

    std::array<Kept, kSizes.size()> kept_;
};

// A thread may use messages even after this: then there is something to free once more.
thread_local OwnBlocks ownBlocks;
thread_local ThreadEndTask freeingTask{[](bool) {
    ownBlocks.freeAtThreadEnd();
    return false;
}};

bool OwnBlocks::mayKeep() {
    return freeingTask.isExpected || doAtThreadEnd(freeingTask) == 0;
}

}  // namespace

Block* takeHeapBlock(std::uint32_t size) {
    const std::size_t wanted = sizeof(Block) + size;
    const std::size_t index = sizeClass(wanted);
    if (index == kSizes.size()) {
        return static_cast<Block*>(std::malloc(wanted));
    }
    Block* kept = ownBlocks.take(index);
    return kept != nullptr ? kept : static_cast<Block*>(std::malloc(kSizes[index]));
}

void giveHeapBlock(Block* block) {
    const std::size_t index = sizeClass(sizeof(Block) + block->size);
    if (index == kSizes.size() || !ownBlocks.give(block, index)) {
        std::free(block);
    }
}

}  // namespace itc
