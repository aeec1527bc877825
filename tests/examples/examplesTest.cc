#include <quoriaTest/childProcess.h>

#include <gtest/gtest.h>

namespace {

using QuoriaTest::ChildProcess;
using QuoriaTest::Outcome;
using QuoriaTest::runToEnd;

constexpr int kNoCommand = 127;

class MinimalService : public testing::Test {
protected:
    // The service says nothing when it is ready, so the clients try.
    static Outcome greet(const std::vector<std::string>& args) {
        std::vector<std::string> words{PEER_RCI, "run", "greet"};
        words.insert(words.end(), args.begin(), args.end());
        Outcome outcome = runToEnd(words);
        while (outcome.exitCode == kNoCommand) {
            outcome = runToEnd(words);
        }
        return outcome;
    }

    const ChildProcess service_{{PEER_MINIMALSERVICE}};
};

TEST_F(MinimalService, GreetsWhomItIsTold) {
    const Outcome outcome = greet({"world"});

    EXPECT_EQ(outcome.output, "Hello, world!\n");
    EXPECT_EQ(outcome.exitCode, 0);
}

TEST_F(MinimalService, ToldNobodyItExplainsItself) {
    const Outcome outcome = greet({});

    EXPECT_EQ(outcome.output, "usage: greet NAME\n");
    EXPECT_EQ(outcome.exitCode, 1);
}

}  // namespace
