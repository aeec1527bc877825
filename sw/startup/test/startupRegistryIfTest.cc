// The registry of the process. CTest gives each test a process, and so a registry, of its own.
#include "components/earlyFile.h"
#include "steadyClock.h"

#include <quoria/startup/startupRegistrar.h>
#include <quoria/startup/startupRegistryIf.h>
#include <quoriaTest/traceCapture.h>

#include <gmock/gmock.h>

#include <cstdio>
#include <set>
#include <thread>
#include <type_traits>
#include <vector>

namespace {

namespace V1 = Quoria::Startup::V1;
namespace V2 = Quoria::Startup::V2;

using Quoria::StartupRegistry::V1::StartupRegistryIf;
using QuoriaTest::TraceCapture;
using std::chrono::hours;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::IsEmpty;

static_assert(!std::is_polymorphic_v<StartupRegistryIf>);
static_assert(sizeof(StartupRegistryIf) == sizeof(void*));
static_assert(std::is_empty_v<V1::StartupRegistrar>);
static_assert(std::is_empty_v<V2::StartupRegistrar>);

class Quiet : public V1::StartupParticipantIf {
public:
    explicit Quiet(int& starts) : starts_(starts) {}
    void start() override { ++starts_; }

private:
    int& starts_;
};

class Named : public V2::StartupParticipantIf {
public:
    enum class Answer { SUCCESS, FAILURE, NONE };

    Named(std::string name, Answer answer) : name_(std::move(name)), answer_(answer) {}
    ~Named() override { std::fprintf(stderr, "%s has gone\n", name_.c_str()); }

    void init(const std::shared_ptr<InitResponderIf>& responder) override {
        if (answer_ != Answer::NONE) {
            responder->ready(answer_ == Answer::SUCCESS);
        }
    }
    void start() override {}
    std::string getName() override { return name_; }

private:
    const std::string name_;
    const Answer answer_;
};

void registerNamed(const std::string& name, Named::Answer answer) {
    StartupRegistryIf::getInstance().registerParticipantCreator(
        [name, answer] { return std::make_shared<Named>(name, answer); });
}

TEST(StartupRegistry, IsOneForAllThreads) {
    std::vector<StartupRegistryIf*> seen(8);
    std::vector<std::thread> threads;
    for (StartupRegistryIf*& mine : seen) {
        threads.emplace_back([&mine] { mine = &StartupRegistryIf::getInstance(); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    EXPECT_THAT(seen, testing::Each(&StartupRegistryIf::getInstance()));
}

TEST(StartupRegistry, StartsWhatIsRegisteredInEitherGeneration) {
    int starts = 0;
    StartupRegistryIf::getInstance().registerParticipantCreator(
        [&starts] { return std::make_shared<Quiet>(starts); });
    registerNamed("clock", Named::Answer::SUCCESS);
    const TraceCapture trace({"TRACE1"});

    EXPECT_TRUE(StartupRegistryIf::getInstance().startAllParticipants(seconds(5)));

    EXPECT_EQ(starts, 1);
    EXPECT_EQ(trace.count("TRACE1", "Starting 'clock'"), 1U);
}

TEST(StartupRegistry, TakesWhatARegistrarRegistersAndKeepsItWhenTheRegistrarGoes) {
    int starts = 0;
    {
        const V1::StartupRegistrar first([&starts] { return std::make_shared<Quiet>(starts); });
        const V2::StartupRegistrar second(
            [] { return std::make_shared<Named>("clock", Named::Answer::SUCCESS); });
    }
    const TraceCapture trace({"TRACE1"});

    EXPECT_TRUE(StartupRegistryIf::getInstance().startAllParticipants(seconds(5)));

    EXPECT_EQ(starts, 1);
    EXPECT_EQ(trace.count("TRACE1", "Starting 'clock'"), 1U);
}

TEST(StartupRegistry, TakesWhatAStaticObjectRegistersThatComesBeforeItsOwn) {
    EXPECT_TRUE(StartupRegistryIf::getInstance().startAllParticipants(seconds(5)));

    EXPECT_EQ(QuoriaTest::startsOfTheEarlyComponent(), 1);
}

TEST(StartupRegistry, TellsWhetherTheStartupFailed) {
    registerNamed("clock", Named::Answer::FAILURE);

    EXPECT_FALSE(StartupRegistryIf::getInstance().startAllParticipants(seconds(5)));
}

TEST(StartupRegistry, StartsWithATimeoutOfSixtySecondsIfNotTold) {
    registerNamed("clock", Named::Answer::NONE);
    const TraceCapture trace({"INFO"});
    QuoriaTest::SteadyClock::shift(hours(-1));

    StartupRegistryIf::getInstance().startParticipants();

    EXPECT_THAT(trace.messages("INFO"),
                ElementsAre("ABN: No response from startup participant 'clock' in 60 seconds"));
}

TEST(StartupRegistry, StartsEverybodyIfNotToldATimeoutToo) {
    registerNamed("clock", Named::Answer::SUCCESS);
    const TraceCapture trace({"INFO", "TRACE1"});

    StartupRegistryIf::getInstance().startParticipants();

    EXPECT_EQ(trace.count("TRACE1", "Starting 'clock'"), 1U);
    EXPECT_THAT(trace.messages("INFO"), IsEmpty());
}

TEST(StartupRegistryDeathTest, GoesWithItsParticipantsAtTheExitOfTheProcess) {
    const auto startAndExit = [] {
        registerNamed("clock", Named::Answer::SUCCESS);
        const bool started = StartupRegistryIf::getInstance().startAllParticipants(seconds(5));
        exit(started ? 0 : 1);
    };

    EXPECT_EXIT(startAndExit(), testing::ExitedWithCode(0), "clock has gone");
}

}  // namespace
