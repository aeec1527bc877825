// What a command throws, and what its server is like afterwards.
#include <quoriaTest/rciServerFixture.h>

#include "handlerInvokers.h"

#include <stdexcept>
#include <utility>

namespace {

namespace CommandTypes = Quoria::CommandTypes;
namespace ScriptedItc = QuoriaTest::ScriptedItc;
using Quoria::CommandRegistry::Backend::invokeAsynchronously;
using Quoria::CommandRegistry::Backend::invokeSynchronously;
using testing::ElementsAre;

constexpr std::uint32_t kConnectCfm = 0x017070A1;
constexpr std::uint32_t kExecuteCfm = 0x017070A4;
constexpr std::uint32_t kResultInd = 0x017070A5;
constexpr std::uint32_t kOutputInd = 0x017070A6;
constexpr std::uint32_t kDisconnectCfm = 0x017070A8;

class RciServerThrowing : public QuoriaTest::RciServerFixture {
protected:
    // A command that fails in its first execution.
    void registerThrowing(const std::string& name) {
        const auto handler = [first = true](const auto&, std::ostream& out) mutable {
            out << "x";
            if (std::exchange(first, false)) {
                throw std::runtime_error("broken");
            }
            return CommandTypes::Success;
        };
        server_->registerCommandInvoker(name, invokeSynchronously(handler));
        connect(name);
    }
};

TEST_F(RciServerThrowing, PassesOnWhatASynchronousCommandThrowsAndSendsNoResult) {
    registerThrowing("x");

    EXPECT_THROW(execute(1), std::runtime_error);

    EXPECT_THAT(sentNumbers(), ElementsAre(kConnectCfm, kExecuteCfm, kOutputInd));
    EXPECT_EQ(ScriptedItc::blocksInUse(), 0U);
}

TEST_F(RciServerThrowing, ServesTheConnectionAsBefore) {
    registerThrowing("x");
    EXPECT_THROW(execute(1), std::runtime_error);

    execute(1);
    disconnect(1);

    EXPECT_THAT(sentNumbers(), ElementsAre(kConnectCfm, kExecuteCfm, kOutputInd, kExecuteCfm,
                                           kOutputInd, kResultInd, kDisconnectCfm));
}

TEST_F(RciServerThrowing, PassesOnWhatAnAsynchronousCommandThrowsAfterItHasKeptItsJob) {
    Job kept;
    server_->registerCommandInvoker("x", invokeAsynchronously([&kept](const Job& job) {
                                        kept = job;
                                        throw std::runtime_error("broken");
                                    }));
    connect("x");

    EXPECT_THROW(execute(1), std::runtime_error);
    kept->done(CommandTypes::Success);

    EXPECT_EQ(kept.use_count(), 1);
    EXPECT_THAT(sentNumbers(), ElementsAre(kConnectCfm, kExecuteCfm, kResultInd));
}

TEST_F(RciServerThrowing, LetsGoOfACommandThatDeregistersItselfAndThrows) {
    auto kept = std::make_shared<int>(0);
    server_->registerCommandInvoker("x", [this, kept](const Job&) {
        server_->deregisterCommandInvoker("x");
        throw std::runtime_error("broken");
    });
    connect("x");

    EXPECT_THROW(execute(1), std::runtime_error);

    EXPECT_EQ(kept.use_count(), 1);
}

TEST_F(RciServerThrowing, IsNotTouchedAnyMoreByACommandThatResetsItAndThrows) {
    auto kept = std::make_shared<int>(0);
    server_->registerCommandInvoker("x", [kept](const Job&) {
        RciServer::reset();
        throw std::runtime_error("broken");
    });
    connect("x");

    EXPECT_THROW(execute(1), std::runtime_error);

    EXPECT_EQ(kept.use_count(), 1);
    EXPECT_EQ(ScriptedItc::blocksInUse(), 0U);
}

}  // namespace
