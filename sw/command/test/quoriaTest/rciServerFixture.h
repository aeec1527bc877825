// rciServerFixture.h: a server whose requests come from the test itself.
//
// Test support.
//
// Runs on the test's own thread against the scripted itc.
#ifndef QUORIATEST_RCISERVERFIXTURE_H
#define QUORIATEST_RCISERVERFIXTURE_H

#include "rciServer.h"

#include <quoriaTest/scriptedItc.h>
#include <quoriaTest/traceCapture.h>

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <vector>

namespace Quoria::CommandRegistry::Backend {

// Sets what only years of connections would bring about.
class RciServerProbe {
public:
    static void setLastConnectionRef(RciServer& server, std::uint32_t reference) {
        server.lastConnectionRef_ = reference;
    }
};

}  // namespace Quoria::CommandRegistry::Backend

namespace QuoriaTest {

class RciServerFixture : public testing::Test {
protected:
    using RciServer = Quoria::CommandRegistry::Backend::RciServer;
    using Job = std::shared_ptr<Quoria::CommandRegistry::V1::CommandExecutionJobIf>;

    static constexpr std::uint32_t kClient = 0x71;

    RciServerFixture();

    // Has the job of every execution kept in jobs_.
    void registerCommand(const std::string& name);

    void connect(const std::string& name, std::uint32_t clientConnectionRef = 6);
    void execute(std::uint32_t connectionRef, const std::vector<std::string>& args = {});
    void disconnect(std::uint32_t connectionRef);
    // Calls what is registered with the thread's message subscription for the message's number.
    static void dispatch(const Bytes& content, std::uint32_t sender = kClient);

    // The texts of all trace events but the first `count`, in their order.
    std::vector<std::string> messagesSince(std::size_t count) const;
    // The numbers of the messages sent so far.
    static std::vector<std::uint32_t> sentNumbers();

    const TraceCapture trace_;
    RciServer* const server_;
    std::vector<Job> jobs_;
};

}  // namespace QuoriaTest

#endif
