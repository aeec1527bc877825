// What the registry does when the world around it fails.
#include "commandRegistryImpl.h"

#include <quoriaTest/noNewThreads.h>
#include <quoriaTest/scriptedItc.h>
#include <quoriaTest/traceCapture.h>

#include <gmock/gmock.h>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/eventfd.h>

#include <cerrno>
#include <system_error>

namespace {

bool eventFdFails = false;
int lastEventFd = -1;

}  // namespace

// Stands before the one of the C library for the whole test program.
extern "C" int eventfd(unsigned int count, int flags) {
    if (eventFdFails) {
        errno = EMFILE;
        return -1;
    }
    using Function = int (*)(unsigned int, int);
    static const auto real = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "eventfd"));
    lastEventFd = real(count, flags);
    return lastEventFd;
}

namespace {

namespace CommandTypes = Quoria::CommandTypes;
namespace ScriptedItc = QuoriaTest::ScriptedItc;
using CommandTypes::CommandResultCode;
using Quoria::CommandRegistry::V1::CommandRegistryImpl;
using QuoriaTest::TraceCapture;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

CommandResultCode succeed(const std::vector<std::string>&, std::ostream&) {
    return CommandTypes::Success;
}

TEST(CommandRegistryFailure, OfItsMailboxIsReported) {
    const TraceCapture trace({"ERROR"});
    ScriptedItc::setCreatedMailbox(0xFFFFFFFF);

    { const CommandRegistryImpl registry; }

    EXPECT_THAT(ScriptedItc::calls(), ElementsAre("create RciServer"));
    EXPECT_THAT(trace.messages("ERROR"),
                ElementsAre("itc_create_mailbox failed for mailbox: RciServer"));
}

TEST(CommandRegistryFailure, OfItsMailboxLeavesConcurrentCommandsRegistered) {
    ScriptedItc::setCreatedMailbox(0xFFFFFFFF);
    CommandRegistryImpl registry;

    EXPECT_EQ(registry.registerCommandHandler("x", succeed, true), CommandTypes::Success);
    EXPECT_EQ(registry.registerCommandHandler("x", succeed, true), CommandTypes::InvalidArguments);
    EXPECT_EQ(registry.deregisterCommandHandler("x"), CommandTypes::Success);
}

TEST(CommandRegistryFailure, OfItsThreadFailsTheConcurrentCommandsOnly) {
    eventFdFails = true;
    CommandRegistryImpl registry;
    eventFdFails = false;

    EXPECT_EQ(registry.registerCommandHandler("x", succeed, true), CommandTypes::Failed);
    EXPECT_EQ(registry.deregisterCommandHandler("x"), CommandTypes::Failed);
    EXPECT_EQ(registry.registerCommandHandler("x", succeed, false), CommandTypes::Success);
    EXPECT_EQ(registry.deregisterCommandHandler("x"), CommandTypes::Success);
}

TEST(CommandRegistryFailure, ToGetAThreadThrowsAndKeepsNoDescriptor) {
    {
        const QuoriaTest::NoNewThreads none;
        EXPECT_THROW(CommandRegistryImpl(), std::system_error);
    }

    ASSERT_NE(lastEventFd, -1);
    EXPECT_EQ(fcntl(lastEventFd, F_GETFD), -1);
    EXPECT_THAT(ScriptedItc::calls(), IsEmpty());
}

TEST(CommandRegistryFailure, OfAMailboxNameIsForeseen) {
    CommandRegistryImpl registry;
    const std::string longest(251, 'x');
    const std::string longestConcurrent(244, 'x');

    EXPECT_EQ(registry.registerCommandHandler(longest + "x", succeed, false),
              CommandTypes::InvalidArguments);
    EXPECT_EQ(registry.registerAsynchCommandHandler(longest + "x", [](const auto&) {}),
              CommandTypes::InvalidArguments);
    EXPECT_EQ(registry.registerCommandHandler(longestConcurrent + "x", succeed, true),
              CommandTypes::InvalidArguments);
    EXPECT_EQ(registry.registerCommandHandler(std::string("a\0b", 3), succeed, false),
              CommandTypes::InvalidArguments);
    EXPECT_THAT(ScriptedItc::calls(), Not(Contains(testing::StartsWith("add_name"))));

    EXPECT_EQ(registry.registerCommandHandler(longest, succeed, false), CommandTypes::Success);
    EXPECT_EQ(registry.registerCommandHandler(longestConcurrent, succeed, true),
              CommandTypes::Success);
}

TEST(CommandRegistryFailure, OfAMailboxNameLeavesNothingRegistered) {
    CommandRegistryImpl registry;

    registry.registerCommandHandler(std::string(300, 'x'), succeed, false);

    EXPECT_EQ(registry.deregisterCommandHandler(std::string(300, 'x')), CommandTypes::Failed);
}

}  // namespace
