#include "messageQueue.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using itc::MessageQueue;

// The queue never looks into a message: numbers stand for their addresses.
itc_msg* numbered(std::size_t number) {
    return reinterpret_cast<itc_msg*>(number * 64);
}

std::vector<std::size_t> takeAll(MessageQueue& queue) {
    std::vector<std::size_t> numbers;
    while (!queue.empty()) {
        numbers.push_back(reinterpret_cast<std::size_t>(queue.take(0)) / 64);
    }
    return numbers;
}

TEST(MessageQueue, IsFirstInFirstOut) {
    MessageQueue queue;
    for (std::size_t number = 1; number <= 3; ++number) {
        queue.push(numbered(number));
    }
    EXPECT_EQ(takeAll(queue), (std::vector<std::size_t>{1, 2, 3}));
}

TEST(MessageQueue, KeepsTheOrderOfTheRestWhenOneIsTakenFromItsMiddle) {
    MessageQueue queue;
    for (std::size_t number = 1; number <= 5; ++number) {
        queue.push(numbered(number));
    }
    EXPECT_EQ(queue.take(2), numbered(3));
    EXPECT_EQ(queue.take(3), numbered(5));
    EXPECT_EQ(takeAll(queue), (std::vector<std::size_t>{1, 2, 4}));
}

TEST(MessageQueue, KeepsTheOrderWhenItGrowsWithItsBeginningAnywhere) {
    MessageQueue queue;
    std::size_t pushed = 0;
    std::size_t taken = 0;
    for (const std::size_t length : {50U, 200U, 1000U, 100000U}) {
        while (queue.size() < length) {
            queue.push(numbered(++pushed));
        }
        while (queue.size() > length / 3) {
            ASSERT_EQ(queue.take(0), numbered(++taken));
        }
    }
    EXPECT_EQ(queue[0], numbered(taken + 1));
    EXPECT_EQ(takeAll(queue).back(), pushed);
}

TEST(MessageQueue, WorksOnAfterALargeBacklogHasGone) {
    MessageQueue queue;
    for (int round = 0; round < 2; ++round) {
        for (std::size_t number = 1; number <= 100000; ++number) {
            queue.push(numbered(number));
        }
        ASSERT_EQ(takeAll(queue).size(), 100000U);
        EXPECT_EQ(queue.size(), 0U);
    }
}

}  // namespace
