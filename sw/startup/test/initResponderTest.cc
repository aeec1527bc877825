#include "initResponderImpl.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

using Quoria::Startup::V2::InitResponderImpl;
using TimePoint = std::chrono::steady_clock::time_point;

constexpr TimePoint kNever = TimePoint::max();
constexpr TimePoint kLongAgo = TimePoint(std::chrono::nanoseconds(1));

TEST(InitResponder, KeepsTheName) {
    EXPECT_EQ(InitResponderImpl("clock", kNever).name(), "clock");
}

TEST(InitResponder, AnAnswerIsTakenByTheWait) {
    for (const bool answer : {true, false}) {
        InitResponderImpl responder("clock", kNever);
        responder.ready(answer);

        bool success = !answer;
        EXPECT_TRUE(responder.wait(success));
        EXPECT_EQ(success, answer);
    }
}

TEST(InitResponder, AnAnswerAfterTheDeadlineButBeforeTheWaitIsTaken) {
    InitResponderImpl responder("clock", kLongAgo);
    responder.ready(true);

    bool success = false;
    EXPECT_TRUE(responder.wait(success));
    EXPECT_TRUE(success);
}

TEST(InitResponder, TheWaitEndsWithTheAnswerOfAnotherThread) {
    InitResponderImpl responder("clock", kNever);
    std::thread participant([&responder] { responder.ready(true); });

    bool success = false;
    EXPECT_TRUE(responder.wait(success));
    participant.join();

    EXPECT_TRUE(success);
}

TEST(InitResponder, WithoutAnAnswerTheWaitEndsAtTheDeadlineAndLeavesTheResultUntouched) {
    for (const bool before : {true, false}) {
        InitResponderImpl responder("clock", kLongAgo);

        bool success = before;
        EXPECT_FALSE(responder.wait(success));
        EXPECT_EQ(success, before);
    }
}

TEST(InitResponder, TheWaitDoesNotEndBeforeTheDeadline) {
    const TimePoint deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(50);
    InitResponderImpl responder("clock", deadline);

    bool success = false;
    EXPECT_FALSE(responder.wait(success));

    EXPECT_GE(std::chrono::steady_clock::now(), deadline);
}

TEST(InitResponder, ADeadlineBeforeTheClocksZeroHasPassed) {
    InitResponderImpl responder("clock", TimePoint::min());

    bool success = false;
    EXPECT_FALSE(responder.wait(success));
}

TEST(InitResponder, AnAnswerIsTakenOnce) {
    InitResponderImpl responder("clock", kNever);
    responder.ready(true);
    bool success = false;
    responder.wait(success);

    bool again = false;
    EXPECT_FALSE(responder.wait(again)) << "and does not wait";
    EXPECT_FALSE(again);
}

TEST(InitResponder, ASecondAnswerBeforeTheFirstIsTakenThrows) {
    InitResponderImpl responder("clock", kNever);
    responder.ready(true);

    try {
        responder.ready(false);
        FAIL() << "no exception";
    } catch (const std::future_error& error) {
        EXPECT_EQ(error.code(), std::future_errc::promise_already_satisfied);
    }

    bool success = false;
    EXPECT_TRUE(responder.wait(success));
    EXPECT_TRUE(success) << "the first answer stays";
}

TEST(InitResponder, ASecondAnswerAfterTheFirstIsTakenDoesNothing) {
    InitResponderImpl responder("clock", kNever);
    responder.ready(true);
    bool success = false;
    responder.wait(success);

    EXPECT_NO_THROW(responder.ready(false));
    EXPECT_NO_THROW(responder.ready(false));

    bool again = true;
    EXPECT_FALSE(responder.wait(again));
}

TEST(InitResponder, AWaitThatWasInVainMayBeRepeated) {
    InitResponderImpl responder("clock", kLongAgo);
    bool success = false;
    EXPECT_FALSE(responder.wait(success));

    responder.ready(true);

    EXPECT_TRUE(responder.wait(success));
    EXPECT_TRUE(success);
}

// The second answers meet the wait at every stage; one of the two outcomes that they may have comes
// each time, and no data race (ThreadSanitizer sees that).
TEST(InitResponder, AnswersMayComeFromSeveralThreadsWhileTheAnswerIsTaken) {
    for (int round = 0; round < 200; ++round) {
        InitResponderImpl responder("clock", kNever);
        const auto answerTwice = [&responder] {
            for (int answer = 0; answer < 2; ++answer) {
                try {
                    responder.ready(true);
                } catch (const std::future_error&) {
                }
            }
        };
        std::thread first(answerTwice);
        std::thread second(answerTwice);

        bool success = false;
        EXPECT_TRUE(responder.wait(success));
        first.join();
        second.join();

        EXPECT_TRUE(success);
        EXPECT_NO_THROW(responder.ready(false));
    }
}

}  // namespace
