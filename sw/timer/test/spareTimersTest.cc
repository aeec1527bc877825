// The nodes of timers that are over are used again, not more of them than agreed.

#include "spareTimers.h"

#include <gtest/gtest.h>

namespace {

using namespace Quoria::Timer::V1;

class SpareTimersTest : public testing::Test {
protected:
    Timers::node_type nodeOf(unsigned int id) {
        return timers.extract(
            timers.emplace(Timers::key_type{}, TimerData{nullptr, id, false, {}}));
    }

    Timers timers;
    SpareTimers spares;
};

TEST_F(SpareTimersTest, WithoutAnyTakeYieldsAnEmptyHandle) {
    EXPECT_TRUE(spares.take().empty());
}

TEST_F(SpareTimersTest, TheOneKeptLastIsTakenFirst) {
    spares.keep(nodeOf(1));
    spares.keep(nodeOf(2));
    EXPECT_EQ(spares.take().mapped().timerId, 2U);
    EXPECT_EQ(spares.take().mapped().timerId, 1U);
    EXPECT_TRUE(spares.take().empty());
}

TEST_F(SpareTimersTest, WhatIsTooMuchIsFreed) {
    for (unsigned int id = 0; id <= SpareTimers::kMost; ++id) {
        spares.keep(nodeOf(id));
    }
    for (std::size_t left = SpareTimers::kMost; left > 0; --left) {
        EXPECT_EQ(spares.take().mapped().timerId, left - 1);
    }
    EXPECT_TRUE(spares.take().empty());
}

}  // namespace
