#include "commandExecutionJobImpl.h"

#include <quoriaTest/scriptedItc.h>
#include <quoriaTest/traceCapture.h>

#include <gmock/gmock.h>

#include <optional>

namespace {

using namespace Quoria::CommandRegistry::Backend;
namespace CommandTypes = Quoria::CommandTypes;
namespace ScriptedItc = QuoriaTest::ScriptedItc;
using CommandTypes::CommandResultCode;
using Quoria::CommandRegistry::V1::CommandExecutionJobImpl;
using QuoriaTest::Bytes;
using QuoriaTest::SentMessage;
using QuoriaTest::TraceCapture;
using testing::ElementsAre;

class CommandExecutionJob : public testing::Test {
protected:
    static std::vector<std::uint32_t> sentResults() {
        std::vector<std::uint32_t> results;
        for (const SentMessage& message : ScriptedItc::sent()) {
            if (message.msgno == 0x017070A5) {
                results.push_back(message.wordAt(12));
            }
        }
        return results;
    }

    static std::vector<std::string> sentTexts() {
        std::vector<std::string> texts;
        for (const SentMessage& message : ScriptedItc::sent()) {
            if (message.msgno == 0x017070A6) {
                texts.push_back(message.textAt(16, message.wordAt(12)));
            }
        }
        return texts;
    }

    const TraceCapture trace_;
    std::shared_ptr<RciServerProcedure> procedure_ =
        std::make_shared<RciServerProcedure>(5, 0x71, 0x72);
    std::shared_ptr<RciServerConnection> connection_ =
        std::make_shared<RciServerConnection>("status", 6, 1);
    std::optional<CommandExecutionJobImpl> job_{std::in_place, std::vector<std::string>{"on", ""},
                                                procedure_, connection_};
};

// A result that can't be sent leaves a trace as well, and so the order shows.
TEST_F(CommandExecutionJob, TracesItsResultBeforeItSendsIt) {
    ScriptedItc::failAlloc(0x017070A5);

    job_->done(CommandTypes::Success);

    std::vector<std::string> messages;
    for (const auto& event : trace_.events()) {
        messages.push_back(event.msg);
    }
    EXPECT_THAT(messages, ElementsAre("Execution of command 'status' succeeded",
                                      "itc_alloc failed for a message to mailbox: 0x71"));
}

TEST_F(CommandExecutionJob, TellsTheNameOfItsCommand) {
    EXPECT_EQ(job_->getCommandName(), "status");
}

TEST_F(CommandExecutionJob, TellsItsArgumentsInTheirOrder) {
    EXPECT_THAT(job_->getArgs(), ElementsAre("on", ""));
}

TEST_F(CommandExecutionJob, SendsATextAndTheEndOfItsLineAsTwoMessages) {
    job_->getOutStream() << "abc" << std::endl;

    EXPECT_THAT(sentTexts(), ElementsAre("abc", "\n"));
}

TEST_F(CommandExecutionJob, HasOneStreamForItsWholeLife) {
    EXPECT_EQ(&job_->getOutStream(), &job_->getOutStream());
}

TEST_F(CommandExecutionJob, SendsASuccessAs1) {
    job_->done(CommandTypes::Success);

    EXPECT_THAT(sentResults(), ElementsAre(1));
    EXPECT_EQ(trace_.count("TRACE1", "Execution of command 'status' succeeded"), 1U);
}

TEST_F(CommandExecutionJob, SendsInvalidArgumentsAs2) {
    job_->done(CommandTypes::InvalidArguments);

    EXPECT_THAT(sentResults(), ElementsAre(2));
    EXPECT_EQ(trace_.count("TRACE1", "Execution of command 'status' failed with invalid arguments"),
              1U);
}

TEST_F(CommandExecutionJob, SendsAnyOtherResultAs3) {
    job_->done(CommandTypes::Failed);
    job_->done(static_cast<CommandResultCode>(7));
    job_->done(static_cast<CommandResultCode>(0xFFFFFFFF));

    EXPECT_THAT(sentResults(), ElementsAre(3, 3, 3));
    EXPECT_EQ(trace_.count("TRACE1", "Execution of command 'status' failed"), 3U);
}

TEST_F(CommandExecutionJob, TracesItsResultForNoObjectInParticular) {
    job_->done(CommandTypes::Success);

    ASSERT_EQ(trace_.events().size(), 1U);
    EXPECT_EQ(trace_.events()[0].obj, "-");
}

TEST_F(CommandExecutionJob, AddressesItsResultToTheClientAsFromItsServer) {
    job_->done(CommandTypes::Success);

    ASSERT_EQ(ScriptedItc::sent().size(), 1U);
    const SentMessage message = ScriptedItc::sent()[0];
    EXPECT_EQ(message.bytes, Bytes().word(0x017070A5).word(5).word(6).word(1).get());
    EXPECT_EQ(message.receiver, 0x71U);
    EXPECT_EQ(message.sender, 0x72U);
}

TEST_F(CommandExecutionJob, SendsAResultEachTimeItIsDone) {
    job_->done(CommandTypes::Success);
    job_->done(CommandTypes::Success);

    EXPECT_THAT(sentResults(), ElementsAre(1, 1));
}

TEST_F(CommandExecutionJob, SendsNothingOnceTheClientHasGone) {
    connection_->close();

    job_->getOutStream() << "abc" << std::endl;
    job_->done(CommandTypes::Success);

    EXPECT_TRUE(job_->getOutStream().good());
    EXPECT_THAT(ScriptedItc::sent(), testing::IsEmpty());
    EXPECT_THAT(trace_.events(), testing::IsEmpty());
}

TEST_F(CommandExecutionJob, SendsNothingWhenItEndsWithoutBeingDone) {
    job_.reset();

    EXPECT_THAT(ScriptedItc::sent(), testing::IsEmpty());
}

TEST_F(CommandExecutionJob, KeepsWhatItNeedsOfItsClient) {
    procedure_.reset();
    connection_.reset();

    job_->getOutStream() << job_->getCommandName();
    job_->done(CommandTypes::Success);

    EXPECT_THAT(sentTexts(), ElementsAre("status"));
    EXPECT_THAT(sentResults(), ElementsAre(1));
}

TEST_F(CommandExecutionJob, LetsGoOfItsClientWhenItEnds) {
    job_.reset();

    EXPECT_EQ(procedure_.use_count(), 1);
    EXPECT_EQ(connection_.use_count(), 1);
}

}  // namespace
