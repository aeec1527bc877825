// One thread or mailbox of the registry and of its concurrent commands is refused, each in its
// turn, and everything around it goes on.
#include "commandRegistryImpl.h"
#include "handlerInvokers.h"

#include <quoriaTest/noNewThreads.h>
#include <quoriaTest/scriptedItc.h>
#include <quoriaTest/traceCapture.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

namespace {

namespace CommandTypes = Quoria::CommandTypes;
namespace ScriptedItc = QuoriaTest::ScriptedItc;
using CommandTypes::CommandResultCode;
using Quoria::CommandRegistry::Backend::CommandInvoker;
using Quoria::CommandRegistry::Backend::invokeConcurrently;
using Quoria::CommandRegistry::V1::CommandExecutionJobIf;
using Quoria::CommandRegistry::V1::CommandRegistryImpl;
using QuoriaTest::NoNewThreads;
using QuoriaTest::TraceCapture;
using testing::ElementsAre;
using Notes = std::vector<std::string>;

class NotingJob : public CommandExecutionJobIf {
public:
    explicit NotingJob(Notes& notes) : notes_(notes) {}

    const std::string& getCommandName() override { return name_; }
    const std::vector<std::string>& getArgs() override { return args_; }
    std::ostream& getOutStream() override { return out_; }
    void done(const CommandResultCode& result) override {
        notes_.push_back(std::to_string(result));
    }

private:
    Notes& notes_;
    const std::string name_ = "status";
    const std::vector<std::string> args_;
    std::ostringstream out_;
};

class CommandRegistryFault : public testing::Test {
protected:
    // The life of a registry, whose thread and mailbox are the first, and three executions of a
    // concurrent command. Returns the results of what has come to one.
    static Notes use(int refusedThread, int refusedMailbox) {
        Notes notes;
        const CommandInvoker invoke =
            invokeConcurrently([](const auto&, auto&) { return CommandTypes::Success; });
        std::optional<CommandRegistryImpl> registry;
        const auto perform = [&](int step) {
            if (step == 1) {
                registry.emplace();
                awaitMailbox();
            } else {
                invoke(std::make_shared<NotingJob>(notes));
            }
        };
        const auto made = static_cast<std::ptrdiff_t>(ScriptedItc::calls().size());
        firstCall_ = made;
        for (int step = 1; step <= 4; ++step) {
            std::optional<NoNewThreads> none;
            if (step == refusedThread) {
                none.emplace();
            }
            ScriptedItc::setCreatedMailbox(step == refusedMailbox ? 0xFFFFFFFF
                                                                  : ScriptedItc::kCreatedMailbox);
            try {
                perform(step);
            } catch (const std::system_error&) {
                notes.emplace_back("refused");
            }
        }
        return notes;
    }

    // Without what comes of the scripted libitc, whose mailboxes have no descriptor.
    static Notes traced(const TraceCapture& trace) {
        Notes texts;
        for (const auto& event : trace.events()) {
            if (event.msg != "epoll_ctl(ADD) failed: Bad file descriptor (9)") {
                texts.push_back(event.name + ' ' + event.msg);
            }
        }
        return texts;
    }
    static std::ptrdiff_t openDescriptors() {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    }

private:
    // Until the registry's thread has asked for it.
    static void awaitMailbox() {
        const auto isAskedFor = [] {
            const auto calls = ScriptedItc::calls();
            return std::find(calls.begin() + firstCall_, calls.end(), "create RciServer") !=
                   calls.end();
        };
        while (!isAskedFor()) {
            std::this_thread::yield();
        }
    }

    static inline std::ptrdiff_t firstCall_ = 0;
};

TEST_F(CommandRegistryFault, OfAnyOneThreadConcernsWhatItWasForAndThrows) {
    const auto before = openDescriptors();
    const TraceCapture trace({"ERROR", "INFO"});
    EXPECT_THAT(use(0, 0), ElementsAre("0", "0", "0"));
    EXPECT_THAT(use(1, 0), ElementsAre("refused", "0", "0", "0"));
    EXPECT_THAT(use(2, 0), ElementsAre("refused", "0", "0"));
    EXPECT_THAT(use(3, 0), ElementsAre("0", "refused", "0"));
    EXPECT_THAT(use(4, 0), ElementsAre("0", "0", "refused"));
    EXPECT_EQ(traced(trace), Notes{});
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_EQ(ScriptedItc::blocksInUse(), 0U);
}

TEST_F(CommandRegistryFault, OfAnyOneMailboxConcernsWhatItWasForAndIsTraced) {
    const auto before = openDescriptors();
    const Notes expected[] = {{"0", "0", "0"}, {"2", "0", "0"}, {"0", "2", "0"}, {"0", "0", "2"}};
    for (int refused = 1; refused <= 4; ++refused) {
        SCOPED_TRACE(refused);
        const TraceCapture trace({"ERROR", "INFO"});
        EXPECT_EQ(use(0, refused), expected[refused - 1]);
        EXPECT_THAT(traced(trace), ElementsAre(std::string("ERROR itc_create_mailbox failed for ") +
                                               (refused == 1 ? "mailbox: RciServer"
                                                             : "concurrent cmd handler: status")));
        EXPECT_EQ(openDescriptors(), before);
    }
}

}  // namespace
