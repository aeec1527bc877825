#include "commandRegistryImpl.h"

#include <quoria/command/commandIf.h>
#include <quoria/command/commandRegistryIf.h>
#include <quoria/itc/itcOperations.h>
#include <quoriaTest/servingThread.h>
#include <quoriaTest/traceCapture.h>

#include <gmock/gmock.h>

#include <pthread.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <future>
#include <sstream>
#include <thread>

namespace {

std::atomic<int> schedulingCalls{0};

}  // namespace

// Stands before the one of the C library for the whole test program.
extern "C" int pthread_setschedparam(pthread_t, int, const sched_param*) noexcept {
    ++schedulingCalls;
    return 0;
}

namespace {

namespace CommandTypes = Quoria::CommandTypes;
namespace Itc = Quoria::Itc;
using CommandTypes::CommandResultCode;
using Quoria::Command::V1::CommandIf;
using Quoria::CommandRegistry::V1::CommandExecutionJobIf;
using Quoria::CommandRegistry::V1::CommandRegistryIf;
using Quoria::CommandRegistry::V1::CommandRegistryImpl;
using QuoriaTest::ServingThread;
using QuoriaTest::TraceCapture;

using Handler = std::function<CommandResultCode(const std::vector<std::string>&, std::ostream&)>;
using AsynchHandler = std::function<void(std::shared_ptr<CommandExecutionJobIf>)>;

Handler say(const std::string& text) {
    return [text](const auto&, std::ostream& out) {
        out << text;
        return CommandTypes::Success;
    };
}

AsynchHandler sayAsynch(const std::string& text) {
    return [text](const std::shared_ptr<CommandExecutionJobIf>& job) {
        job->getOutStream() << text;
        job->done(CommandTypes::Success);
    };
}

std::vector<std::string> threadNames() {
    std::vector<std::string> names;
    for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream file(thread.path() / "comm");
        std::string name;
        std::getline(file, name);
        names.push_back(name);
    }
    return names;
}

class CommandRegistry : public testing::Test {
protected:
    CommandRegistry() : mailbox_(Itc::createMailbox("client")) {}
    ~CommandRegistry() override { Itc::deleteMailbox(mailbox_); }

    // These three act on the serving thread.
    CommandResultCode add(const std::string& name, const Handler& handler) {
        return onServingThread(
            [&] { return registry_->registerCommandHandler(name, handler, false); });
    }
    CommandResultCode addAsynch(const std::string& name, const AsynchHandler& handler) {
        return onServingThread(
            [&] { return registry_->registerAsynchCommandHandler(name, handler); });
    }
    CommandResultCode remove(const std::string& name) {
        return onServingThread([&] { return registry_->deregisterCommandHandler(name); });
    }
    CommandResultCode addConcurrent(const std::string& name, const Handler& handler) {
        return registry_->registerCommandHandler(name, handler, true);
    }

    CommandResultCode onServingThread(const std::function<CommandResultCode()>& function) {
        CommandResultCode result = CommandTypes::Failed;
        serving_.call([&] { result = function(); });
        return result;
    }

    // What the command writes, or what is said of it.
    static std::string run(const std::string& name) {
        std::ostringstream out;
        CommandIf::create(name)->execute({}, out);
        return out.str();
    }

    static constexpr const char* kRejected =
        "Connect rejected by server. Client's supported protocol revision is 1\n";

    const std::uint32_t mailbox_;
    CommandRegistryIf* const registry_ = CommandRegistryIf::getInstance();
    ServingThread serving_;
};

TEST_F(CommandRegistry, IsOneForTheProcess) {
    CommandRegistryIf* ofOtherThread = nullptr;
    serving_.call([&ofOtherThread] { ofOtherThread = CommandRegistryIf::getInstance(); });

    EXPECT_NE(registry_, nullptr);
    EXPECT_EQ(ofOtherThread, registry_);
}

TEST_F(CommandRegistry, HasAMailboxNamedRciServer) {
    EXPECT_NE(QuoriaTest::awaitMailbox("RciServer"), Itc::kItcNoMailbox);
}

TEST_F(CommandRegistry, HasAThreadNamedRciServer) {
    QuoriaTest::awaitMailbox("RciServer");

    EXPECT_THAT(threadNames(), testing::Contains("RciServer"));
}

TEST_F(CommandRegistry, LeavesItsThreadTheSchedulingThatItInherits) {
    { const CommandRegistryImpl another; }

    EXPECT_EQ(schedulingCalls, 0);
}

TEST_F(CommandRegistry, MakesTheServerOfItsThreadWithTheFirstConcurrentCommand) {
    const TraceCapture trace({"TRACE1"});
    { const CommandRegistryImpl unused; }
    EXPECT_EQ(trace.count("TRACE1", "init called"), 0U);

    for (const std::string name : {"first", "second"}) {
        addConcurrent(name, say(""));
        QuoriaTest::awaitMailbox("RCI:" + name);
        EXPECT_EQ(trace.count("TRACE1", "init called"), 1U);
    }
}

TEST_F(CommandRegistry, ServesEachKindOfCommand) {
    EXPECT_EQ(add("synchronous", say("s")), CommandTypes::Success);
    EXPECT_EQ(addAsynch("asynchronous", sayAsynch("a")), CommandTypes::Success);
    EXPECT_EQ(addConcurrent("concurrent", say("c")), CommandTypes::Success);
    QuoriaTest::awaitMailbox("RCI:concurrent");

    EXPECT_EQ(run("synchronous"), "s");
    EXPECT_EQ(run("asynchronous"), "a");
    EXPECT_EQ(run("concurrent"), "c");
}

TEST_F(CommandRegistry, ServesSynchronousAndAsynchronousCommandsAtTheRegisteringThread) {
    add("synchronous", say("s"));
    addAsynch("asynchronous", sayAsynch("a"));

    EXPECT_EQ(Itc::locate("RCI:synchronous"), serving_.mailbox());
    EXPECT_EQ(Itc::locate("RCI:asynchronous"), serving_.mailbox());
}

TEST_F(CommandRegistry, ServesConcurrentCommandsAtItsOwnThread) {
    addConcurrent("concurrent", say("c"));

    EXPECT_EQ(QuoriaTest::awaitMailbox("RCI:concurrent"), QuoriaTest::awaitMailbox("RciServer"));
}

TEST_F(CommandRegistry, RefusesANameThatIsTakenByWhateverKind) {
    add("synchronous", say("first"));
    addAsynch("asynchronous", sayAsynch("first"));
    addConcurrent("concurrent", say("first"));
    QuoriaTest::awaitMailbox("RCI:concurrent");

    for (const std::string name : {"synchronous", "asynchronous", "concurrent"}) {
        EXPECT_EQ(add(name, say("second")), CommandTypes::InvalidArguments);
        EXPECT_EQ(addAsynch(name, sayAsynch("second")), CommandTypes::InvalidArguments);
        EXPECT_EQ(addConcurrent(name, say("second")), CommandTypes::InvalidArguments);
        EXPECT_EQ(run(name), "first");
    }
}

TEST_F(CommandRegistry, DoesNothingElseWithANameThatIsTaken) {
    add("x", say("first"));
    const TraceCapture trace;

    add("x", say("second"));
    addAsynch("x", sayAsynch("third"));
    addConcurrent("x", say("fourth"));
    addConcurrent("behind", say(""));
    QuoriaTest::awaitMailbox("RCI:behind");

    EXPECT_EQ(trace.count("TRACE1", "Command 'x' registered"), 0U);
}

TEST_F(CommandRegistry, DeregistersWhatStaysAfterADuplicateOfAnotherKind) {
    add("x", say("first"));
    EXPECT_EQ(addConcurrent("x", say("second")), CommandTypes::InvalidArguments);

    EXPECT_EQ(remove("x"), CommandTypes::Success);

    EXPECT_EQ(run("x"), kRejected);
}

TEST_F(CommandRegistry, DeregistersAConcurrentCommandAfterDuplicatesOfOtherKinds) {
    addConcurrent("x", say("first"));
    QuoriaTest::awaitMailbox("RCI:x");
    EXPECT_EQ(add("x", say("second")), CommandTypes::InvalidArguments);
    EXPECT_EQ(addAsynch("x", sayAsynch("third")), CommandTypes::InvalidArguments);

    EXPECT_EQ(registry_->deregisterCommandHandler("x"), CommandTypes::Success);

    addConcurrent("behind", say(""));
    QuoriaTest::awaitMailbox("RCI:behind");
    EXPECT_EQ(run("x"), kRejected);
}

TEST_F(CommandRegistry, FailsToDeregisterWhatIsNotRegistered) {
    EXPECT_EQ(registry_->deregisterCommandHandler("x"), CommandTypes::Failed);
}

TEST_F(CommandRegistry, DeregistersOnceOnly) {
    add("x", say("x"));

    EXPECT_EQ(remove("x"), CommandTypes::Success);
    EXPECT_EQ(remove("x"), CommandTypes::Failed);
    EXPECT_EQ(run("x"), kRejected);
}

TEST_F(CommandRegistry, MayRegisterANameAgainThatWasDeregistered) {
    add("x", say("first"));
    remove("x");

    EXPECT_EQ(addAsynch("x", sayAsynch("second")), CommandTypes::Success);

    EXPECT_EQ(run("x"), "second");
}

TEST_F(CommandRegistry, DeregistersConcurrentCommandsAtItsOwnThread) {
    addConcurrent("x", say("first"));
    QuoriaTest::awaitMailbox("RCI:x");

    EXPECT_EQ(registry_->deregisterCommandHandler("x"), CommandTypes::Success);
    addConcurrent("behind", say(""));  // the registry's thread does one after the other
    QuoriaTest::awaitMailbox("RCI:behind");

    EXPECT_EQ(run("x"), kRejected);
}

TEST_F(CommandRegistry, AnswersForAConcurrentCommandBeforeItCanBeReached) {
    std::promise<void> running;
    std::promise<void> mayEnd;
    addConcurrent("slow", [&](const auto&, auto&) {
        running.set_value();
        mayEnd.get_future().wait();
        return CommandTypes::Success;
    });
    QuoriaTest::awaitMailbox("RCI:slow");
    std::thread client([] {
        const std::uint32_t mailbox = Itc::createMailbox("");
        run("slow");
        Itc::deleteMailbox(mailbox);
    });
    running.get_future().wait();  // and the registry's thread with it

    EXPECT_EQ(addConcurrent("x", say("x")), CommandTypes::Success);
    EXPECT_EQ(run("x"), "No handler found for command: x\n");

    mayEnd.set_value();
    client.join();
    QuoriaTest::awaitMailbox("RCI:x");
    EXPECT_EQ(run("x"), "x");
}

TEST_F(CommandRegistry, RegistersAndDeregistersConcurrentCommandsInTheOrderOfTheCalls) {
    addConcurrent("x", say("first"));
    registry_->deregisterCommandHandler("x");
    addConcurrent("x", say("second"));
    addConcurrent("behind", say(""));
    QuoriaTest::awaitMailbox("RCI:behind");

    EXPECT_EQ(run("x"), "second");
}

TEST_F(CommandRegistry, StillServesACommandThatAnotherThreadDeregistered) {
    add("x", say("first"));

    EXPECT_EQ(registry_->deregisterCommandHandler("x"), CommandTypes::Success);

    EXPECT_EQ(run("x"), "first");
    EXPECT_EQ(add("x", say("second")), CommandTypes::Success);  // the name is free ...
    EXPECT_EQ(run("x"), "first");                               // ... but the thread keeps its own
}

TEST_F(CommandRegistry, StillServesAnAsynchronousCommandThatAnotherThreadDeregistered) {
    addAsynch("x", sayAsynch("first"));

    EXPECT_EQ(registry_->deregisterCommandHandler("x"), CommandTypes::Success);

    EXPECT_EQ(run("x"), "first");
    EXPECT_EQ(remove("x"), CommandTypes::Failed);
    EXPECT_EQ(addAsynch("x", sayAsynch("second")), CommandTypes::Success);
    EXPECT_EQ(run("x"), "first");
}

TEST_F(CommandRegistry, LetsAHandlerDeregisterItsOwnCommand) {
    add("once", [this](const auto&, std::ostream& out) {
        EXPECT_EQ(registry_->deregisterCommandHandler("once"), CommandTypes::Success);
        out << "once";
        return CommandTypes::Success;
    });

    EXPECT_EQ(run("once"), "once");
    EXPECT_EQ(run("once"), kRejected);
}

TEST_F(CommandRegistry, LetsAHandlerRegisterAnotherCommand) {
    add("x", [this](const auto&, auto&) {
        return registry_->registerCommandHandler("y", say("y"), false);
    });

    EXPECT_EQ(run("x"), "");
    EXPECT_EQ(run("y"), "y");
}

TEST_F(CommandRegistry, LetsWhatAHandlerOwnsDeregisterOthersAsItGoes) {
    add("other", say(""));
    const auto deregister = [this](const int* token) {
        EXPECT_EQ(registry_->deregisterCommandHandler("other"), CommandTypes::Success);
        delete token;
    };
    add("x", [owned = std::shared_ptr<int>(new int(0), deregister)](const auto&, auto&) {
        return CommandTypes::Success;
    });

    EXPECT_EQ(remove("x"), CommandTypes::Success);

    EXPECT_EQ(remove("other"), CommandTypes::Failed);
}

TEST_F(CommandRegistry, LetsWhatAHandlerOwnsFindItsOwnCommandGone) {
    bool isReleased = false;
    const auto deregister = [this, &isReleased](const int* token) {
        EXPECT_EQ(registry_->deregisterCommandHandler("x"), CommandTypes::Failed);
        isReleased = true;
        delete token;
    };
    add("x", [owned = std::shared_ptr<int>(new int(0), deregister)](const auto&, auto&) {
        return CommandTypes::Success;
    });

    EXPECT_EQ(remove("x"), CommandTypes::Success);
    EXPECT_TRUE(isReleased);
}

// Does something when it is copied, once.
class CopiedHandler {
public:
    explicit CopiedHandler(std::function<void()> atCopy)
        : atCopy_(std::make_shared<std::function<void()>>(std::move(atCopy))) {}
    CopiedHandler(const CopiedHandler& other) : atCopy_(other.atCopy_) {
        if (isArmed) {
            isArmed = false;
            (*atCopy_)();
        }
    }
    CommandResultCode operator()(const std::vector<std::string>&, std::ostream&) const {
        return CommandTypes::Success;
    }
    void operator()(const std::shared_ptr<CommandExecutionJobIf>&) const {}

    static thread_local bool isArmed;

private:
    std::shared_ptr<std::function<void()>> atCopy_;
};
thread_local bool CopiedHandler::isArmed = false;

TEST_F(CommandRegistry, LetsAHandlerThatIsCopiedFindItsNameTakenAndTheRegistryFree) {
    int tried = 0;
    const CopiedHandler handler([this, &tried] {
        ++tried;
        EXPECT_EQ(registry_->registerAsynchCommandHandler("x", sayAsynch("another")),
                  CommandTypes::InvalidArguments);
    });
    const Handler synchronous = handler;
    const AsynchHandler asynchronous = handler;

    EXPECT_EQ(onServingThread([&] {
                  CopiedHandler::isArmed = true;
                  return registry_->registerCommandHandler("x", synchronous, false);
              }),
              CommandTypes::Success);
    EXPECT_EQ(tried, 1);
    remove("x");
    EXPECT_EQ(onServingThread([&] {
                  CopiedHandler::isArmed = true;
                  return registry_->registerAsynchCommandHandler("x", asynchronous);
              }),
              CommandTypes::Success);
    EXPECT_EQ(tried, 2);
}

TEST_F(CommandRegistry, MayBeUsedByManyThreads) {
    std::vector<std::thread> users;
    std::atomic<int> registered{0};
    for (int i = 0; i < 4; ++i) {
        users.emplace_back([this, &registered] {
            for (int n = 0; n < 50; ++n) {
                if (addConcurrent(std::to_string(n), say("")) == CommandTypes::Success) {
                    ++registered;
                }
            }
        });
    }
    for (std::thread& user : users) {
        user.join();
    }

    EXPECT_EQ(registered, 50);
}

class CommandRegistryReset : public CommandRegistry {
protected:
    static void resetRegistry() { CommandRegistryImpl::getInstance()->reset(); }
};

TEST_F(CommandRegistryReset, ForgetsAllNames) {
    add("synchronous", say(""));
    addConcurrent("concurrent", say(""));

    resetRegistry();

    EXPECT_EQ(remove("synchronous"), CommandTypes::Failed);
    EXPECT_EQ(registry_->deregisterCommandHandler("concurrent"), CommandTypes::Failed);
}

TEST_F(CommandRegistryReset, EndsTheServerOfTheCallingThread) {
    auto kept = std::make_shared<int>(0);
    add("x", [kept](const auto&, auto&) { return CommandTypes::Success; });
    EXPECT_GT(kept.use_count(), 1);

    serving_.call(resetRegistry);

    EXPECT_EQ(kept.use_count(), 1);
}

TEST_F(CommandRegistryReset, LeavesTheServersOfOtherThreads) {
    add("synchronous", say("s"));
    addConcurrent("concurrent", say("c"));
    QuoriaTest::awaitMailbox("RCI:concurrent");

    resetRegistry();

    EXPECT_EQ(run("synchronous"), "s");
    EXPECT_EQ(run("concurrent"), "c");
}

TEST_F(CommandRegistryReset, FreesTheNameOfAConcurrentCommandButItsThreadKeepsItsOwn) {
    addConcurrent("x", say("first"));
    QuoriaTest::awaitMailbox("RCI:x");

    resetRegistry();
    EXPECT_EQ(addConcurrent("x", say("second")), CommandTypes::Success);
    addConcurrent("behind", say(""));
    QuoriaTest::awaitMailbox("RCI:behind");

    EXPECT_EQ(run("x"), "first");
}

TEST_F(CommandRegistryReset, LetsWhatAHandlerOwnsDeregisterOthersAsItGoes) {
    addConcurrent("other", say(""));
    const auto deregister = [this](const int* token) {
        EXPECT_EQ(registry_->deregisterCommandHandler("other"), CommandTypes::Success);
        delete token;
    };
    add("x", [owned = std::shared_ptr<int>(new int(0), deregister)](const auto&, auto&) {
        return CommandTypes::Success;
    });

    serving_.call(resetRegistry);

    EXPECT_EQ(remove("x"), CommandTypes::Failed);
}

TEST_F(CommandRegistryReset, DoesNothingElseOnAThreadWithoutAServer) {
    resetRegistry();

    EXPECT_EQ(add("x", say("x")), CommandTypes::Success);
    EXPECT_EQ(run("x"), "x");
}

}  // namespace
