#include "heapBlocks.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <quoriaTest/sanitizers.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <set>
#include <thread>
#include <vector>

namespace {

using itc::Block;
using itc::giveHeapBlock;
using itc::takeHeapBlock;

constexpr std::size_t kMany = 10000;  // more than a thread keeps for itself

// As a message is: the size is written, and then everything behind the header.
Block* takeFilled(std::uint32_t size) {
    Block* block = takeHeapBlock(size);
    block->size = size;
    std::memset(block + 1, 0x5A, size);
    return block;
}

std::vector<Block*> takeMany(std::uint32_t size) {
    std::vector<Block*> blocks(kMany);
    std::generate(blocks.begin(), blocks.end(), [size] { return takeFilled(size); });
    return blocks;
}

void giveAll(const std::vector<Block*>& blocks) {
    std::for_each(blocks.begin(), blocks.end(), giveHeapBlock);
}

void onAnotherThread(const std::function<void()>& work) {
    std::thread(work).join();
}

class HeapBlocksOfSize : public testing::TestWithParam<std::uint32_t> {};

TEST_P(HeapBlocksOfSize, AreEachGivenOutOnce) {
    for (int round = 0; round < 3; ++round) {
        const std::vector<Block*> blocks = takeMany(GetParam());
        EXPECT_EQ(std::set<Block*>(blocks.begin(), blocks.end()).size(), kMany);
        giveAll(blocks);
    }
}

TEST_P(HeapBlocksOfSize, MayBeGivenBackByAnotherThread) {
    for (int round = 0; round < 3; ++round) {
        const std::vector<Block*> blocks = takeMany(GetParam());
        onAnotherThread([&blocks] { giveAll(blocks); });
    }
}

INSTANTIATE_TEST_SUITE_P(, HeapBlocksOfSize, testing::Values(4, 96, 97, 224, 480, 992, 993, 4096),
                         testing::PrintToStringParamName());

TEST(HeapBlocks, AreUsedAgainByTheSameThread) {
    if (QuoriaTest::kAddressSanitizer) {
        GTEST_SKIP() << "under which no block is kept";
    }
    Block* block = takeFilled(64);
    giveHeapBlock(block);
    EXPECT_EQ(takeHeapBlock(32), block);
    giveHeapBlock(block);
}

TEST(HeapBlocks, AreUsedAgainByAnotherThread) {
    if (QuoriaTest::kAddressSanitizer) {
        GTEST_SKIP() << "under which no block is kept";
    }
    const std::vector<Block*> blocks = takeMany(64);
    giveAll(blocks);
    onAnotherThread([&blocks] {
        Block* block = takeFilled(64);
        EXPECT_NE(std::find(blocks.begin(), blocks.end(), block), blocks.end());
        giveHeapBlock(block);
    });
}

// Messages are freed in the destructors of thread-specific values, which come last.
TEST(HeapBlocks, MayBeTakenAndGivenWhileTheThreadEnds) {
    static pthread_key_t key;
    ASSERT_EQ(pthread_key_create(&key,
                                 [](void* block) {
                                     giveHeapBlock(static_cast<Block*>(block));
                                     giveHeapBlock(takeFilled(64));
                                 }),
              0);
    onAnotherThread([] { EXPECT_EQ(pthread_setspecific(key, takeFilled(64)), 0); });
    EXPECT_EQ(pthread_key_delete(key), 0);
}

}  // namespace
