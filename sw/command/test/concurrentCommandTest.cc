// Concurrent commands with the registry's real thread.
#include "rciClient.h"
#include "rciMessage.h"

#include <quoria/command/commandIf.h>
#include <quoria/command/commandRegistryIf.h>
#include <quoria/itc/itcOperations.h>
#include <quoriaTest/servingThread.h>
#include <quoriaTest/traceCapture.h>

#include <gmock/gmock.h>

#include <atomic>
#include <future>
#include <sstream>
#include <thread>

namespace {

namespace CommandTypes = Quoria::CommandTypes;
namespace Itc = Quoria::Itc;
namespace Rci = Quoria::Command::Backend;
using CommandTypes::CommandResultCode;
using Quoria::Command::V1::CommandIf;
using Quoria::CommandRegistry::V1::CommandRegistryIf;
using QuoriaTest::ServingThread;

using Handler = std::function<CommandResultCode(const std::vector<std::string>&, std::ostream&)>;

std::uint32_t registerConcurrently(const std::string& name, const Handler& handler) {
    EXPECT_EQ(CommandRegistryIf::getInstance()->registerCommandHandler(name, handler, true),
              CommandTypes::Success);
    return QuoriaTest::awaitMailbox("RCI:" + name);
}

// A thread with a mailbox that runs one command.
class Client {
public:
    explicit Client(const std::string& name)
        : thread_([this, name] {
              const std::uint32_t mailbox = Itc::createMailbox("");
              result_ = CommandIf::create(name)->execute({"on"}, out_);
              Itc::deleteMailbox(mailbox);
          }) {}

    CommandResultCode result() {
        thread_.join();
        return result_;
    }
    std::string output() const { return out_.str(); }

private:
    CommandResultCode result_ = CommandTypes::Failed;
    std::ostringstream out_;
    std::thread thread_;
};

class ConcurrentCommand : public testing::Test {
protected:
    ConcurrentCommand() : mailbox_(Itc::createMailbox("test")) {}
    ~ConcurrentCommand() override { Itc::deleteMailbox(mailbox_); }

    const std::uint32_t mailbox_;
};

TEST_F(ConcurrentCommand, CarriesArgumentsOutputAndResult) {
    registerConcurrently("x", [](const auto& args, std::ostream& out) {
        out << args.at(0) << std::endl;
        return CommandTypes::InvalidArguments;
    });
    Client client("x");

    EXPECT_EQ(client.result(), CommandTypes::InvalidArguments);
    EXPECT_EQ(client.output(), "on\n");
}

TEST_F(ConcurrentCommand, HasAMailboxWhileItRuns) {
    std::uint32_t own = Itc::kItcNoMailbox;
    std::uint32_t found = Itc::kItcNoMailbox;
    registerConcurrently("x", [&](const auto&, auto&) {
        own = Itc::currentMailbox();
        found = Itc::locate("cmdHandler:x");
        return CommandTypes::Success;
    });

    EXPECT_EQ(Client("x").result(), CommandTypes::Success);

    EXPECT_NE(own, Itc::kItcNoMailbox);
    EXPECT_EQ(own, found);
    EXPECT_EQ(Itc::locate("cmdHandler:x"), Itc::kItcNoMailbox);
}

TEST_F(ConcurrentCommand, MayRunACommandOfAnotherThreadItself) {
    ServingThread serving;
    serving.call([] {
        CommandRegistryIf::getInstance()->registerCommandHandler(
            "inner",
            [](const auto&, std::ostream& out) {
                out << "inner";
                return CommandTypes::Success;
            },
            false);
    });
    registerConcurrently("outer", [](const auto&, std::ostream& out) {
        return CommandIf::create("inner")->execute({}, out);
    });
    Client client("outer");

    EXPECT_EQ(client.result(), CommandTypes::Success);
    EXPECT_EQ(client.output(), "inner");
}

TEST_F(ConcurrentCommand, KeepsTheOtherConcurrentCommandsWaiting) {
    const std::uint32_t server =
        registerConcurrently("other", [](const auto&, auto&) { return CommandTypes::Success; });
    bool gotAnAnswer = true;
    registerConcurrently("x", [&](const auto&, auto&) {
        itc_msg* request = Rci::buildRciConnectReq(1, 1, "other");
        Itc::send(&request, server, Itc::kItcOwnMailbox);
        gotAnAnswer = Itc::wrap(Itc::receive(nullptr, 50)) != nullptr;
        return CommandTypes::Success;
    });

    EXPECT_EQ(Client("x").result(), CommandTypes::Success);

    EXPECT_FALSE(gotAnAnswer);
}

TEST_F(ConcurrentCommand, LetsTheOtherConcurrentCommandsRunWhenItHasReturned) {
    std::vector<std::string> order;  // each handler's end is before the next one's begin
    registerConcurrently("other", [&](const auto&, auto&) {
        order.emplace_back("other");
        return CommandTypes::Success;
    });
    std::unique_ptr<Client> other;
    registerConcurrently("x", [&](const auto&, auto&) {
        other = std::make_unique<Client>("other");
        order.emplace_back("x");
        return CommandTypes::Success;
    });

    EXPECT_EQ(Client("x").result(), CommandTypes::Success);
    EXPECT_EQ(other->result(), CommandTypes::Success);

    EXPECT_THAT(order, testing::ElementsAre("x", "other"));
}

TEST_F(ConcurrentCommand, RunsToItsEndAfterItsClientHasGone) {
    const QuoriaTest::TraceCapture trace({"TRACE1", "INFO"});
    std::promise<void> running;
    std::promise<void> mayEnd;
    const std::uint32_t server = registerConcurrently("x", [&](const auto&, std::ostream& out) {
        running.set_value();
        mayEnd.get_future().wait();
        out << "late" << std::endl;
        EXPECT_TRUE(out.good());
        return CommandTypes::Success;
    });
    registerConcurrently("probe", [](const auto&, auto&) { return CommandTypes::Success; });
    std::thread([&] {
        const std::uint32_t mailbox = Itc::createMailbox("");
        std::ostringstream out;
        Rci::RciClient client("x");
        EXPECT_TRUE(client.connectToServer(out));
        itc_msg* request = Rci::buildRciExecuteReq(1, 1, {});
        Itc::send(&request, server, Itc::kItcOwnMailbox);
        running.get_future().wait();
        Itc::deleteMailbox(mailbox);
    }).join();
    mayEnd.set_value();
    EXPECT_EQ(Client("probe").result(), CommandTypes::Success);  // behind the client's end

    // The server was waiting when the client went, so it has heard of that only afterwards.
    EXPECT_EQ(trace.count("TRACE1", "Execution of command 'x' succeeded"), 1U);
    EXPECT_EQ(trace.count("INFO", "ABN: command 'x' aborted by the client"), 1U);
}

TEST_F(ConcurrentCommand, DoesNotKeepTheCommandsOfOtherThreadsWaiting) {
    ServingThread serving;
    serving.call([] {
        CommandRegistryIf::getInstance()->registerCommandHandler(
            "synchronous", [](const auto&, auto&) { return CommandTypes::Success; }, false);
    });
    std::promise<void> running;
    std::promise<void> mayEnd;
    registerConcurrently("x", [&](const auto&, auto&) {
        running.set_value();
        mayEnd.get_future().wait();
        return CommandTypes::InvalidArguments;
    });
    Client slow("x");
    running.get_future().wait();

    EXPECT_EQ(Client("synchronous").result(), CommandTypes::Success);

    mayEnd.set_value();
    EXPECT_EQ(slow.result(), CommandTypes::InvalidArguments);
}

TEST_F(ConcurrentCommand, MayBeWithdrawnWhileItRuns) {
    std::promise<void> running;
    std::promise<void> mayEnd;
    registerConcurrently("x", [&](const auto&, auto&) {
        running.set_value();
        mayEnd.get_future().wait();
        return CommandTypes::InvalidArguments;
    });
    Client slow("x");
    running.get_future().wait();

    EXPECT_EQ(CommandRegistryIf::getInstance()->deregisterCommandHandler("x"),
              CommandTypes::Success);

    mayEnd.set_value();
    EXPECT_EQ(slow.result(), CommandTypes::InvalidArguments);
}

TEST_F(ConcurrentCommand, RunsOneAfterTheOtherForManyClients) {
    std::atomic<int> running{0};
    int runs = 0;
    registerConcurrently("x", [&](const auto&, auto&) {
        EXPECT_EQ(++running, 1);
        ++runs;
        --running;
        return CommandTypes::Success;
    });
    std::vector<std::unique_ptr<Client>> clients;
    for (int i = 0; i < 8; ++i) {
        clients.push_back(std::make_unique<Client>("x"));
    }
    for (const auto& client : clients) {
        EXPECT_EQ(client->result(), CommandTypes::Success);
    }

    EXPECT_EQ(runs, 8);
}

}  // namespace
