// The index finds what was added and not yet taken, however many there are.

#include "timerIndex.h"

#include <gtest/gtest.h>

#include <map>
#include <new>
#include <random>
#include <utility>

#include "failingNew.h"

namespace {

using namespace Quoria::Timer::V1;

class Receiver : public TimeoutReceiverIf {
public:
    void handleTimeout(unsigned int) override {}
};

class TimerIndexTest : public testing::Test {
protected:
    Timers::iterator add(const TimerKey& key) {
        index.makeRoom();
        const auto timer =
            timers.emplace(Timers::key_type{}, TimerData{key.receiver, key.timerId, false, {}});
        index.add(timer);
        return timer;
    }
    void addMany(unsigned int count) {
        for (unsigned int id = 0; id < count; ++id) {
            add({&a, id});
        }
    }

    Receiver a;
    Receiver b;
    Timers timers;
    TimerIndex index;
};

// With places taken at random the longest way among so many timers is about 20.
constexpr std::size_t kShortWay = 80;

class TimerIndexOfIds : public TimerIndexTest, public testing::WithParamInterface<unsigned int> {};

TEST_P(TimerIndexOfIds, ThatAreSpacedEvenlyMakesNoLongRows) {
    for (unsigned int number = 0; number < 30000; ++number) {
        add({&a, number * GetParam()});
    }
    EXPECT_LT(index.longestWay(), kShortWay);
}

INSTANTIATE_TEST_SUITE_P(By, TimerIndexOfIds,
                         testing::Values(1, 2, 3, 64, 1000, 4096, 75025, 1346269, 0x10000),
                         testing::PrintToStringParamName());

class TimerIndexOfReceivers : public TimerIndexTest,
                              public testing::WithParamInterface<std::size_t> {};

TEST_P(TimerIndexOfReceivers, ThatAreSpacedEvenlyMakesNoLongRows) {
    for (std::size_t number = 1; number <= 30000; ++number) {
        // Nobody calls them.
        add({reinterpret_cast<TimeoutReceiverIf*>(number * GetParam()), 0});
    }
    EXPECT_LT(index.longestWay(), kShortWay);
}

INSTANTIATE_TEST_SUITE_P(By, TimerIndexOfReceivers,
                         testing::Values(16, 48, 64, 1024, 1536, 1568, 4096, 6960, 14632),
                         testing::PrintToStringParamName());

TEST_F(TimerIndexTest, AnEmptyOneContainsNothing) {
    EXPECT_FALSE(index.contains({&a, 1}));
    EXPECT_EQ(index.take({nullptr, 0}), std::nullopt);
}

TEST_F(TimerIndexTest, WhatIsAddedIsContainedUntilItIsTaken) {
    const auto timer = add({&a, 1});
    EXPECT_TRUE(index.contains({&a, 1}));
    EXPECT_EQ(index.take({&a, 1}), timer);
    EXPECT_FALSE(index.contains({&a, 1}));
    EXPECT_EQ(index.take({&a, 1}), std::nullopt);
}

TEST_F(TimerIndexTest, TheSameIdOfAnotherReceiverIsAnother) {
    const auto ofA = add({&a, 1});
    EXPECT_FALSE(index.contains({&b, 1}));
    const auto ofNone = add({nullptr, 1});
    EXPECT_EQ(index.take({nullptr, 1}), ofNone);
    EXPECT_EQ(index.take({&a, 1}), ofA);
}

TEST_F(TimerIndexTest, GrowthLosesNone) {
    addMany(10000);
    for (unsigned int id = 0; id < 10000; ++id) {
        const auto timer = index.take({&a, id});
        ASSERT_TRUE(timer);
        EXPECT_EQ((*timer)->second.timerId, id);
    }
}

TEST_F(TimerIndexTest, ItNeedsMemoryForGrowthOnlyAndLosesNoneWhenThereIsNone) {
    unsigned int count = 0;
    try {
        for (;; ++count) {
            {
                const FailingNew memory(0);
                index.makeRoom();
            }
            add({&a, count});
        }
    } catch (const std::bad_alloc&) {
        EXPECT_GT(count, 0U);
    }
    for (unsigned int id = 0; id < count; ++id) {
        EXPECT_TRUE(index.contains({&a, id}));
    }
    add({&a, count});
    EXPECT_TRUE(index.contains({&a, count}));
}

TEST_F(TimerIndexTest, WhatIsTakenMakesRoomForAnother) {
    addMany(1000);
    index.makeRoom();
    const FailingNew memory(0);
    for (unsigned int id = 0; id < 1000; ++id) {
        const auto timer = index.take({&a, id});
        ASSERT_TRUE(timer);
        index.makeRoom();
        (*timer)->second.receiver = &b;
        index.add(*timer);
    }
    EXPECT_TRUE(index.contains({&b, 999}));
}

// The highest number of timers; few make short rows of slots that often reach past the end of the
// table, many make it grow.
class TimerIndexModel : public TimerIndexTest, public testing::WithParamInterface<unsigned int> {};

TEST_P(TimerIndexModel, WhateverIsAddedAndTakenItContainsWhatAMapWould) {
    std::mt19937 random(GetParam());
    std::map<std::pair<TimeoutReceiverIf*, unsigned int>, Timers::iterator> model;
    for (int step = 0; step < 100000 && !HasFailure(); ++step) {
        const TimerKey key{random() % 2 == 0 ? &a : &b,
                           static_cast<unsigned int>(random() % (GetParam() / 2))};
        const auto known = model.find({key.receiver, key.timerId});
        ASSERT_EQ(index.contains(key), known != model.end());
        if (known == model.end()) {
            model.insert({{key.receiver, key.timerId}, add(key)});
        } else {
            const auto taken = index.take(key);
            ASSERT_EQ(taken, known->second);
            timers.erase(*taken);
            model.erase(known);
        }
    }
    for (const auto& [key, timer] : model) {
        EXPECT_EQ(index.take({key.first, key.second}), timer);
    }
}

INSTANTIATE_TEST_SUITE_P(Most, TimerIndexModel, testing::Values(16U, 20U, 1000U, 20000U));

}  // namespace
