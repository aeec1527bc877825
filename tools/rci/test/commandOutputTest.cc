#include "commandOutput.h"

#include <gmock/gmock.h>

#include <ostream>
#include <stdexcept>
#include <vector>

namespace {

using Rci::ClientFailure;
using Rci::CommandOutput;
using testing::ElementsAre;
using testing::IsEmpty;

class CommandOutputTest : public testing::Test {
protected:
    CommandOutputTest() : buffer_("job", [this](auto text) { passed_.emplace_back(text); }) {}

    // Writes the way in which a chunk of a command's output is written.
    void commandPrints(const std::string& text) {
        stream_.write(text.data(), static_cast<std::streamsize>(text.size()));
    }

    std::vector<std::string> passed_;
    CommandOutput buffer_;
    std::ostream stream_{&buffer_};
};

TEST_F(CommandOutputTest, EachWriteOfACommandPassesAtOnce) {
    commandPrints("one");
    EXPECT_THAT(passed_, ElementsAre("one"));

    commandPrints("\n");
    stream_.put('L');
    EXPECT_THAT(passed_, ElementsAre("one", "\n", "L"));
    EXPECT_FALSE(buffer_.finish());
}

TEST_F(CommandOutputTest, BytesPassUnchanged) {
    commandPrints(std::string("\0\xFF\n", 3));
    stream_.put('\xFF');

    EXPECT_THAT(passed_, ElementsAre(std::string("\0\xFF\n", 3), "\xFF"));
}

TEST_F(CommandOutputTest, AnEmptyWritePassesNothing) {
    commandPrints("");

    EXPECT_THAT(passed_, IsEmpty());
}

struct ClientLine {
    const char* text;
    int exitCode;
};

constexpr ClientLine kClientLines[] = {
    {"No handler found for command: job", 127},
    {"Timeout when connecting to command handler: job", 2},
    {"Connect rejected by server. Client's supported protocol revision is 1", 2},
    {"Lost connection to server", 2},
    {"Malformed answer from command handler: job", 2},
    {"The arguments are too long to be sent to command: job", 125},
    {"The calling thread has no mailbox to run command: job", 125},
    {"No memory left to run command: job", 125},
};

TEST_F(CommandOutputTest, ALineOfTheClientIsAFailureAndNoOutput) {
    for (const ClientLine& line : kClientLines) {
        stream_ << line.text << std::endl;

        const auto failure = buffer_.finish();
        ASSERT_TRUE(failure) << line.text;
        EXPECT_EQ(failure->line, line.text);
        EXPECT_EQ(failure->exitCode, line.exitCode);
        EXPECT_THAT(passed_, IsEmpty());
    }
}

TEST_F(CommandOutputTest, TheSameLinePrintedByTheCommandIsOutput) {
    for (const ClientLine& line : kClientLines) {
        passed_.clear();
        commandPrints(line.text);
        commandPrints("\n");

        EXPECT_FALSE(buffer_.finish()) << line.text;
        EXPECT_THAT(passed_, ElementsAre(line.text + std::string("\n")));
    }
}

TEST_F(CommandOutputTest, ALineOfTheClientMayComeInPieces) {
    stream_ << "Connect rejected by server. Client's supported protocol revision is " << 1
            << std::endl;

    EXPECT_TRUE(buffer_.finish());
    EXPECT_THAT(passed_, IsEmpty());
}

TEST_F(CommandOutputTest, TheOutputBeforeALostConnectionIsKept) {
    commandPrints("half a li");
    stream_ << "Lost connection to server" << std::endl;

    EXPECT_TRUE(buffer_.finish());
    EXPECT_THAT(passed_, ElementsAre("half a li"));
}

TEST_F(CommandOutputTest, ALostConnectionIsToldFromTheSameWordsBeforeIt) {
    commandPrints("Lost connection to server\n");
    stream_ << "Lost connection to server" << std::endl;

    EXPECT_TRUE(buffer_.finish());
    EXPECT_THAT(passed_, ElementsAre("Lost connection to server\n"));
}

TEST_F(CommandOutputTest, WordsThatGoOnDifferentlyAreOutputOnceThatIsKnown) {
    commandPrints("Lost connection to server");
    EXPECT_THAT(passed_, IsEmpty());

    commandPrints(" room 5\n");
    EXPECT_THAT(passed_, ElementsAre("Lost connection to server", " room 5\n"));
    EXPECT_FALSE(buffer_.finish());
}

TEST_F(CommandOutputTest, ALineAboutAnotherCommandIsOutput) {
    commandPrints("No handler found for command: other\n");

    EXPECT_THAT(passed_, ElementsAre("No handler found for command: other\n"));
}

TEST_F(CommandOutputTest, AShortBeginningOfALinePassesAtOnce) {
    commandPrints("No ");

    EXPECT_THAT(passed_, ElementsAre("No "));
}

TEST_F(CommandOutputTest, AFlushOfAnythingElseIsNoFailure) {
    stream_ << "Lost connection to server" << std::flush;

    EXPECT_FALSE(buffer_.finish());
    EXPECT_THAT(passed_, ElementsAre("Lost connection to server"));
}

TEST_F(CommandOutputTest, WhatWritingThrowsReachesTheWriterIfTheStreamIsTold) {
    CommandOutput broken("job", [](auto) { throw std::runtime_error("no reader"); });
    std::ostream stream(&broken);
    stream.exceptions(std::ios::badbit);

    EXPECT_THROW(stream.write("text", 4), std::runtime_error);
}

}  // namespace
