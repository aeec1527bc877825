// A timer manager does what a plain list of timers would do, whatever it is asked.

#include <quoria/timer/timerManagerIf.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <random>
#include <tuple>

#include "timerFixture.h"

namespace {

using namespace std::chrono_literals;

class TimerManagerModel : public TimerFixture, public testing::WithParamInterface<unsigned int> {
protected:
    struct Timer {
        std::chrono::nanoseconds expiry;
        unsigned int turn;
        NotingReceiver* receiver;
        unsigned int id;
        milliseconds period;  // 0 if it is a one-shot timer

        bool operator<(const Timer& other) const {
            return std::tie(expiry, turn) < std::tie(other.expiry, other.turn);
        }
    };

    std::vector<Timer>::iterator find(const NotingReceiver* receiver, unsigned int id) {
        return std::find_if(model.begin(), model.end(), [receiver, id](const Timer& timer) {
            return timer.receiver == receiver && timer.id == id;
        });
    }
    // What the clock cannot tell any more is the end of its range.
    std::chrono::nanoseconds fromNow(milliseconds time) const {
        constexpr auto kLongest = std::chrono::nanoseconds::max();
        constexpr auto kLimit = std::chrono::duration_cast<milliseconds>(kLongest);
        const nanoseconds distance = std::clamp(time, -kLimit, kLimit);
        return distance > kLongest - calls.clock() ? kLongest : calls.clock() + distance;
    }
    void startBoth(NotingReceiver* receiver, unsigned int id, milliseconds time, bool periodical) {
        const auto result = periodical ? manager.startPeriodicalTimer(time, receiver, id)
                                       : manager.startTimer(time, receiver, id);
        if (find(receiver, id) != model.end()) {
            EXPECT_EQ(result, TimerManagerIf::ALREADY_EXISTS);
            return;
        }
        EXPECT_EQ(result, TimerManagerIf::OK);
        model.push_back(
            {fromNow(time), ++turns, receiver, id, periodical ? time : milliseconds(0)});
    }
    void cancelBoth(NotingReceiver* receiver, unsigned int id) {
        const auto found = find(receiver, id);
        EXPECT_EQ(manager.cancelTimer(receiver, id),
                  found != model.end() ? TimerManagerIf::OK : TimerManagerIf::NOT_FOUND);
        if (found != model.end()) {
            model.erase(found);
        }
    }
    void passBoth(nanoseconds distance) {
        pass(distance);
        for (;;) {
            const auto earliest = std::min_element(model.begin(), model.end());
            if (earliest == model.end() || earliest->expiry > calls.clock()) {
                break;
            }
            expected.push_back((earliest->receiver == &a ? "a" : "b") +
                               std::to_string(earliest->id));
            if (earliest->period > milliseconds(0)) {
                earliest->expiry = calls.clock() + earliest->period;
                earliest->turn = ++turns;
            } else {
                model.erase(earliest);
            }
        }
    }
    void expectArmedForTheEarliest() {
        const auto earliest = std::min_element(model.begin(), model.end());
        if (earliest != model.end()) {
            EXPECT_EQ(os->lastArmedFor(), std::max<nanoseconds>(earliest->expiry, 1ns));
        } else if (!os->settimeCalls.empty()) {
            EXPECT_EQ(os->lastArmedFor(), std::nullopt);
        }
    }

    unsigned int pick(std::size_t count) { return static_cast<unsigned int>(random() % count); }

    std::mt19937 random{GetParam()};
    std::vector<Timer> model;
    unsigned int turns = 0;
    Log expected;
};

TEST_P(TimerManagerModel, EveryOperationAndExpiryIsThatOfAPlainList) {
    for (int step = 0; step < 3000 && !HasFailure(); ++step) {
        NotingReceiver* const receiver = pick(2) == 0 ? &a : &b;
        const unsigned int id = pick(40);
        switch (pick(4)) {
            case 0:
            case 1:
                startBoth(receiver, id, milliseconds(1 + pick(20)), pick(3) == 0);
                break;
            case 2:
                cancelBoth(receiver, id);
                break;
            default:
                passBoth(milliseconds(pick(4)));
                break;
        }
        expectArmedForTheEarliest();
    }
    EXPECT_EQ(log, expected);
    EXPECT_GT(log.size(), 500U);
}

// Times of all sizes, many of them equal, in bursts that leave hardly any timer or a thousand.
TEST_P(TimerManagerModel, SoItIsWithManyTimersOfAllSpans) {
    constexpr milliseconds kTimes[] = {milliseconds::min(), -1h, -1ms, 0ms, 1ms, 2ms, 1s, 1h,
                                       milliseconds::max()};
    for (int burst = 0; burst < 12 && !HasFailure(); ++burst) {
        const unsigned int starts = burst % 3 == 2 ? 1 : 8;
        for (int step = 0; step < 1000 && !HasFailure(); ++step) {
            NotingReceiver* const receiver = pick(2) == 0 ? &a : &b;
            if (pick(10) < starts) {
                startBoth(receiver, pick(1000), kTimes[pick(std::size(kTimes))], false);
            } else {
                cancelBoth(receiver, pick(1000));
            }
        }
        expectArmedForTheEarliest();
        passBoth(kTimes[3 + pick(4)]);
    }
    EXPECT_EQ(log, expected);
    EXPECT_GT(log.size(), 500U);
}

INSTANTIATE_TEST_SUITE_P(Seeds, TimerManagerModel, testing::Range(1U, 6U));

}  // namespace
