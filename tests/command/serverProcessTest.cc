// A client whose server is another process, which ends while the client counts on it.
#include <quoria/command/commandIf.h>
#include <quoria/itc/itcOperations.h>
#include <quoriaTest/childProcess.h>

#include <gmock/gmock.h>

#include <signal.h>

#include <functional>
#include <sstream>
#include <streambuf>
#include <utility>

namespace {

namespace CommandTypes = Quoria::CommandTypes;
namespace Itc = Quoria::Itc;
using CommandTypes::CommandResultCode;
using Quoria::Command::V1::CommandIf;
using QuoriaTest::ChildProcess;

// A stream that does something as soon as it is written to.
class WatchedBuffer : public std::stringbuf {
public:
    explicit WatchedBuffer(std::function<void()> onFirstWrite) : onFirstWrite_(onFirstWrite) {}

protected:
    std::streamsize xsputn(const char* s, std::streamsize n) override {
        const std::streamsize written = std::stringbuf::xsputn(s, n);
        if (onFirstWrite_) {
            std::exchange(onFirstWrite_, nullptr)();
        }
        return written;
    }

private:
    std::function<void()> onFirstWrite_;
};

class ServerProcess : public testing::Test {
protected:
    ServerProcess() : mailbox_(Itc::createMailbox("client")) {
        EXPECT_EQ(server_.readLine(), "ready\n");
    }
    ~ServerProcess() override { Itc::deleteMailbox(mailbox_); }

    CommandResultCode execute(const std::string& name, const std::vector<std::string>& args = {}) {
        return CommandIf::create(name)->execute(args, out_);
    }

    void expectLossWhenKilledAmid(const std::string& name) {
        WatchedBuffer buffer([this] { server_.sendSignal(SIGKILL); });
        std::ostream out(&buffer);

        EXPECT_EQ(CommandIf::create(name)->execute({}, out), CommandTypes::Failed);

        EXPECT_EQ(buffer.str(), "halfLost connection to server\n");
        EXPECT_EQ(Itc::receive(nullptr, Itc::kItcNoWait), nullptr);
    }

    const std::uint32_t mailbox_;
    ChildProcess server_{{PEER_COMMANDPEER, "serve"}};
    std::ostringstream out_;
};

TEST_F(ServerProcess, ServesBothSynchronouslyAndConcurrently) {
    EXPECT_EQ(execute("echoSynchronously", {"a", "b"}), CommandTypes::Success);
    EXPECT_EQ(execute("echoConcurrently", {"c"}), CommandTypes::Success);

    EXPECT_EQ(out_.str(), "abc");
}

TEST_F(ServerProcess, KilledAmidASynchronousCommandEndsIt) {
    expectLossWhenKilledAmid("stallSynchronously");
}

TEST_F(ServerProcess, KilledAmidAConcurrentCommandEndsIt) {
    expectLossWhenKilledAmid("stallConcurrently");
}

TEST_F(ServerProcess, KilledAmidAnAsynchronousCommandEndsIt) {
    expectLossWhenKilledAmid("stallAsynchronously");
}

TEST_F(ServerProcess, ThatWasKilledCannotBeFoundAnyMore) {
    server_.sendSignal(SIGKILL);
    server_.wait();

    EXPECT_EQ(execute("echoSynchronously"), CommandTypes::Failed);

    EXPECT_EQ(out_.str(), "No handler found for command: echoSynchronously\n");
}

TEST_F(ServerProcess, ThatWasKilledGivesWayToAnother) {
    ChildProcess second({PEER_COMMANDPEER, "serve"});
    EXPECT_EQ(second.readLine(), "ready\n");
    expectLossWhenKilledAmid("stallSynchronously");
    server_.wait();

    EXPECT_EQ(execute("echoSynchronously", {"on"}), CommandTypes::Success);

    EXPECT_EQ(out_.str(), "on");
}

TEST_F(ServerProcess, ThatThrowsInASynchronousCommandEndsIt) {
    EXPECT_EQ(execute("throwSynchronously"), CommandTypes::Failed);

    EXPECT_EQ(out_.str(), "Lost connection to server\n");
    EXPECT_EQ(server_.wait(), -SIGABRT);
}

TEST_F(ServerProcess, ThatThrowsInAConcurrentCommandEndsIt) {
    EXPECT_EQ(execute("throwConcurrently"), CommandTypes::Failed);

    EXPECT_EQ(out_.str(), "Lost connection to server\n");
    EXPECT_EQ(server_.wait(), -SIGABRT);
}

TEST_F(ServerProcess, WhoseConcurrentCommandEndsItsThreadEnds) {
    EXPECT_EQ(execute("endThreadConcurrently"), CommandTypes::Failed);

    EXPECT_EQ(out_.str(), "Lost connection to server\n");
    EXPECT_EQ(server_.wait(), -SIGABRT);
}

// The real server answers in one turn; this one dies between its answers.
class DyingServerProcess : public testing::TestWithParam<const char*> {};

TEST_P(DyingServerProcess, EndsTheCommandOfItsClientAndLeavesItNoMessage) {
    const std::uint32_t mailbox = Itc::createMailbox("client");
    ChildProcess server({PEER_COMMANDPEER, GetParam()});
    ASSERT_EQ(server.readLine(), "ready\n");
    std::ostringstream out;

    EXPECT_EQ(CommandIf::create("dying")->execute({"argument"}, out), CommandTypes::Failed);

    EXPECT_EQ(out.str(), "Lost connection to server\n");
    EXPECT_EQ(server.wait(), -SIGKILL);
    EXPECT_EQ(Itc::receive(nullptr, Itc::kItcNoWait), nullptr);
    Itc::deleteMailbox(mailbox);
}

INSTANTIATE_TEST_SUITE_P(, DyingServerProcess,
                         testing::Values("dieAfterConnectCfm", "dieBeforeExecuteCfm",
                                         "dieAfterExecuteCfm"),
                         [](const auto& role) { return std::string(role.param); });

}  // namespace
