#include <quoria/util/functionQueue.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <memory>
#include <vector>

namespace {

using Quoria::Util::detail::takeOldest;

class FunctionQueue : public testing::Test {
protected:
    void post(int number) {
        queue.push_back([this, number] { ran.push_back(number); });
    }
    std::size_t waiting() const { return queue.size() - oldest; }

    std::vector<std::function<void()>> queue;
    std::size_t oldest = 0;
    std::vector<int> ran;
};

TEST_F(FunctionQueue, FunctionsAreTakenFirstInFirstOut) {
    for (int number = 0; number < 5; ++number) {
        post(number);
    }
    while (!queue.empty()) {
        takeOldest(queue, oldest)();
    }
    EXPECT_EQ(ran, (std::vector<int>{0, 1, 2, 3, 4}));
}

TEST_F(FunctionQueue, TakingAndAppendingMayAlternate) {
    int number = 0;
    for (int round = 0; round < 50; ++round) {
        post(number++);
        post(number++);
        post(number++);
        takeOldest(queue, oldest)();
        takeOldest(queue, oldest)();
    }
    EXPECT_EQ(waiting(), 50U);
    while (!queue.empty()) {
        takeOldest(queue, oldest)();
    }
    ASSERT_EQ(ran.size(), 150U);
    for (int i = 0; i < 150; ++i) {
        EXPECT_EQ(ran[static_cast<std::size_t>(i)], i);
    }
}

TEST_F(FunctionQueue, TakingTheLastFunctionLeavesAnEmptyVector) {
    post(1);
    takeOldest(queue, oldest);
    EXPECT_TRUE(queue.empty());
    EXPECT_EQ(oldest, 0U);
}

TEST_F(FunctionQueue, AnEmptyFunctionComesOutEmptyInItsTurn) {
    queue.emplace_back();
    post(1);
    EXPECT_FALSE(takeOldest(queue, oldest));
    EXPECT_TRUE(takeOldest(queue, oldest));
}

TEST_F(FunctionQueue, WhatATakenFunctionHasCapturedGoesWithIt) {
    const auto captured = std::make_shared<int>(1);
    queue.push_back([captured] {});
    for (int number = 0; number < 5; ++number) {
        post(number);
    }
    takeOldest(queue, oldest);
    EXPECT_EQ(captured.use_count(), 1);
}

TEST_F(FunctionQueue, APersistentBacklogDoesNotLetTheVectorGrow) {
    std::size_t longest = 0;
    post(0);
    for (int number = 1; number < 10000; ++number) {
        post(number);
        takeOldest(queue, oldest);
        longest = std::max(longest, queue.size());
    }
    EXPECT_LE(longest, 4U);
}

TEST_F(FunctionQueue, DrainingMovesEachFunctionAtMostOnceOnAverage) {
    constexpr std::size_t kWaiting = 4096;
    for (std::size_t i = 0; i < kWaiting; ++i) {
        post(0);
    }
    std::size_t moved = 0;
    while (!queue.empty()) {
        const std::size_t before = queue.size();
        takeOldest(queue, oldest);
        if (queue.size() != before) {
            moved += queue.size();  // those behind the places given back have moved up
        }
    }
    EXPECT_LE(moved, kWaiting);
}

}  // namespace
