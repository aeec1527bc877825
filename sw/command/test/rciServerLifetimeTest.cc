#include <quoriaTest/rciServerFixture.h>

#include "itcMessageSubscriptionImpl.h"

#include <thread>

namespace {

namespace CommandTypes = Quoria::CommandTypes;
namespace ScriptedItc = QuoriaTest::ScriptedItc;
using Quoria::CommandRegistry::Backend::RciServer;
using Quoria::ItcMessageSubscription::V1::ItcMessageSubscriptionImpl;
using QuoriaTest::Bytes;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

class RciServerLifetime : public QuoriaTest::RciServerFixture {};

TEST_F(RciServerLifetime, IsOneServerPerThread) {
    RciServer* ofOtherThread = nullptr;
    std::thread other([&] { ofOtherThread = RciServer::getThreadLocalInstance(); });
    other.join();

    EXPECT_EQ(RciServer::getThreadLocalInstance(), server_);
    EXPECT_NE(ofOtherThread, server_);
    EXPECT_EQ(trace_.count("TRACE1", "init called"), 2U);
}

TEST_F(RciServerLifetime, IgnoresRequestsThatComeAfterAReset) {
    registerCommand("x");
    connect("x");

    RciServer::reset();
    connect("x");
    execute(1);
    disconnect(1);

    EXPECT_THAT(sentNumbers(), ElementsAre(0x017070A1));
    EXPECT_THAT(jobs_, IsEmpty());
    EXPECT_THAT(trace_.messages("ERROR"), IsEmpty());
}

TEST_F(RciServerLifetime, IgnoresTheEndOfAClientThatItHadBeforeAReset) {
    registerCommand("x");
    connect("x");

    RciServer::reset();
    dispatch(Bytes().word(0x01707091));

    EXPECT_THAT(trace_.messages("INFO"), IsEmpty());
}

TEST_F(RciServerLifetime, SendsNothingAndMonitorsOnWhenItIsReset) {
    registerCommand("x");
    connect("x");
    const std::vector<std::string> before = ScriptedItc::calls();

    RciServer::reset();

    EXPECT_EQ(ScriptedItc::calls(), before);
}

TEST_F(RciServerLifetime, ServesNothingAfterAResetWhileTheOldHandlersStay) {
    RciServer::reset();
    RciServer::getThreadLocalInstance()->registerCommandInvoker(
        "x", [](const Job&) { FAIL() << "served after all"; });

    connect("x");
    execute(1);

    EXPECT_THAT(sentNumbers(), IsEmpty());
}

TEST_F(RciServerLifetime, CountsItsConnectionsAnewAfterAResetOfServerAndSubscription) {
    registerCommand("x");
    connect("x");
    connect("x");
    RciServer::reset();
    ItcMessageSubscriptionImpl::reset();

    RciServer::getThreadLocalInstance()->registerCommandInvoker("x", [](const Job&) {});
    connect("x");

    ASSERT_EQ(ScriptedItc::sent().size(), 3U);
    EXPECT_EQ(ScriptedItc::sent()[2].wordAt(8), 1U);
}

TEST_F(RciServerLifetime, IgnoresTheEndOfAnOldClientForTheNewServersConnections) {
    registerCommand("x");
    connect("x");
    RciServer::reset();
    RciServer* fresh = RciServer::getThreadLocalInstance();
    std::vector<Job> jobs;
    fresh->registerCommandInvoker("x", [&jobs](const Job& job) { jobs.push_back(job); });
    fresh->handleConnectMsg(ScriptedItc::makeReceived(
        Bytes().word(0x017070A0).word(5).word(6).word(1).word(1).word(1).text("x"), 0x99));

    dispatch(Bytes().word(0x01707091));  // the old client, whose reference was 1 as well
    fresh->handleExecuteCommandMsg(
        ScriptedItc::makeReceived(Bytes().word(0x017070A3).word(8).word(1).word(0), 0x99));

    EXPECT_EQ(jobs.size(), 1U);
}

TEST_F(RciServerLifetime, LetsACommandResetItsServerInItsOwnCall) {
    auto kept = std::make_shared<std::string>("alive");
    server_->registerCommandInvoker("bye", [kept](const Job&) {
        RciServer::reset();
        EXPECT_EQ(*kept, "alive");
    });
    connect("bye");

    execute(1);

    EXPECT_EQ(kept.use_count(), 1);
}

TEST_F(RciServerLifetime, LetsAJobOutliveItsServer) {
    registerCommand("x");
    connect("x");
    execute(1);

    RciServer::reset();
    jobs_.at(0)->done(CommandTypes::Success);

    EXPECT_EQ(sentNumbers().back(), 0x017070A5U);
}

TEST_F(RciServerLifetime, LetsGoOfItsInvokersWhenItIsReset) {
    auto kept = std::make_shared<int>(0);
    server_->registerCommandInvoker("x", [kept](const Job&) {});

    RciServer::reset();

    EXPECT_EQ(kept.use_count(), 1);
}

// What a component does that lives as long as the handlers which share it.
class Component {
public:
    explicit Component(RciServer* server) : server_(server) {}
    ~Component() {
        server_->deregisterCommandInvoker("x");
        server_->deregisterCommandInvoker("y");
    }

private:
    RciServer* const server_;
};

TEST_F(RciServerLifetime, LetsAComponentDeregisterItsCommandsWhileItIsReset) {
    auto component = std::make_shared<Component>(server_);
    server_->registerCommandInvoker("x", [component](const Job&) {});
    server_->registerCommandInvoker("y", [component](const Job&) {});
    component.reset();

    RciServer::reset();

    EXPECT_EQ(trace_.count("TRACE1", "Command 'x' deregistered"), 1U);
}

TEST_F(RciServerLifetime, LetsAComponentDeregisterItsOtherCommandsWhenTheLastGoes) {
    auto component = std::make_shared<Component>(server_);
    server_->registerCommandInvoker("x", [component](const Job&) {});
    component.reset();

    server_->deregisterCommandInvoker("x");

    EXPECT_EQ(trace_.count("TRACE1", "Command 'x' deregistered"), 2U);
}

TEST_F(RciServerLifetime, EndsWithItsThread) {
    auto kept = std::make_shared<int>(0);
    std::thread serving([kept] {
        RciServer::getThreadLocalInstance()->registerCommandInvoker("x", [kept](const Job&) {});
    });
    serving.join();

    EXPECT_EQ(kept.use_count(), 1);
}

}  // namespace
