// How a process ends that has everything in use.
#include "tracingSession.h"

#include <quoriaTest/childProcess.h>
#include <quoriaTest/sanitizers.h>

#include <gmock/gmock.h>

#include <string>

namespace {

using QuoriaTest::Outcome;

class EndOfAProcess : public testing::TestWithParam<std::string> {};

TEST_P(EndOfAProcess, HasItsOwnStatusAndNothingToSay) {
    const Outcome outcome = QuoriaTest::runToEnd({PEER_ENDINGPROCESS, GetParam(), "7"});

    EXPECT_EQ(outcome.exitCode, 7) << outcome.error;
    EXPECT_EQ(outcome.error, "");
}

// The recording isn't read: a thread that the end has caught may have left an event half written.
TEST_P(EndOfAProcess, IsTheSameWithEveryEventTraced) {
    if (QuoriaTest::kThreadSanitizer) {
        GTEST_SKIP()
            << "the sanitizer does not see how the tracer waits for those who fire an event";
    }
    TracingSession session;

    EXPECT_NO_THROW(session.run({PEER_ENDINGPROCESS, GetParam(), "0"}));
}

INSTANTIATE_TEST_SUITE_P(By, EndOfAProcess,
                         testing::Values("return", "exit", "quickExit", "exitAtOnce",
                                         "exitOnActiveObject", "endOfMainThread"),
                         [](const auto& way) { return way.param; });

}  // namespace
