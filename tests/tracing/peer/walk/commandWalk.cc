#include "failingCalls.h"
#include "ownMailbox.h"
#include "walk.h"

#include <quoria/command/commandRegistryIf.h>
#include <quoria/itc/itcOperations.h>
#include <quoria/itcMessageSubscription/itcMessageSubscriptionIf.h>

#include <cstdint>
#include <future>
#include <memory>
#include <vector>

namespace TraceWalk {

namespace {

namespace CommandTypes = Quoria::CommandTypes;
namespace Itc = Quoria::Itc;
using CommandTypes::CommandResultCode;
using Quoria::CommandRegistry::V1::CommandExecutionJobIf;
using Quoria::CommandRegistry::V1::CommandRegistryIf;
using Quoria::ItcMessageSubscription::V1::ItcMessageSubscriptionIf;
using Args = std::vector<std::string>;

// The protocol in so many words, apart from the library's own client.
constexpr std::uint32_t kConnectReq = 0x017070A0;
constexpr std::uint32_t kConnectCfm = 0x017070A1;
constexpr std::uint32_t kExecuteReq = 0x017070A3;
constexpr std::uint32_t kDisconnectReq = 0x017070A7;
constexpr std::uint32_t kAnswers[] = {kConnectCfm, 0x017070A2, 0x017070A4,
                                      0x017070A5,  0x017070A6, 0x017070A8};

// The references that the server gives out, in the order of the connects.
constexpr std::uint32_t kFirst = 1;
constexpr std::uint32_t kSecond = 2;
constexpr std::uint32_t kUnknown = 4711;

std::vector<std::uint32_t> connectReq(const std::string& command) {
    return {kConnectReq, 1, 1, 1, 1, static_cast<std::uint32_t>(command.size())};
}

void execute(OwnMailbox& server, std::uint32_t connection, const Args& args = {}) {
    std::string bytes;
    for (const std::string& arg : args) {
        bytes += arg + '\0';
    }
    server.handle({kExecuteReq, 1, connection, static_cast<std::uint32_t>(args.size())}, bytes);
}

CommandResultCode judge(const Args& args, std::ostream&) {
    if (args == Args{"fail"}) {
        return CommandTypes::Failed;
    }
    if (args == Args{"without a result"}) {
        failNext(Call::ITC_ALLOC, 0);
    }
    return args == Args{"what"} ? CommandTypes::InvalidArguments : CommandTypes::Success;
}

void succeed(const std::shared_ptr<CommandExecutionJobIf>& job) {
    job->done(CommandTypes::Success);
}

// A client whose mailbox goes away when it is connected.
void abandon(OwnMailbox& server) {
    const auto connectAndGo = [serverId = server.id()] {
        const std::uint32_t mailbox = Itc::createMailbox("");
        send(serverId, connectReq("judge"), "judge");
        const std::uint32_t filter[] = {1, kConnectCfm};
        Itc::wrap(Itc::receive(filter, Itc::kItcWaitForever));
        Itc::deleteMailbox(mailbox);
        Itc::createMailbox("");
        send(serverId, {OwnMailbox::kStopMsgNo});
    };
    const auto client = std::async(std::launch::async, connectAndGo);
    server.handleUntilStopped();
}

}  // namespace

void walkCommands() {
    OwnMailbox server("commander");
    tell("commander", server.idInHex());
    for (const std::uint32_t msgNo : kAnswers) {
        ItcMessageSubscriptionIf::getInstance().addMsgHandler(msgNo, [](const auto&) {});
    }
    CommandRegistryIf& registry = *CommandRegistryIf::getInstance();
    registry.registerCommandHandler("judge", judge, false);
    registry.registerAsynchCommandHandler("later", succeed);
    std::async(std::launch::async, [&registry] {
        registry.registerCommandHandler("homeless", judge, false);
    }).get();

    server.handle(connectReq("judge"), "judge");
    server.handle(connectReq("later"), "later");
    server.handle(connectReq("nobody"), "nobody");
    server.handle({kConnectReq});
    for (const Args& args : {Args{"on", "off"}, Args{"what"}, Args{"fail"}, Args{}}) {
        execute(server, kFirst, args);
    }
    execute(server, kFirst, {"without a result"});
    execute(server, kSecond);
    execute(server, kUnknown);
    server.handle({kExecuteReq});
    registry.deregisterCommandHandler("later");
    execute(server, kSecond);
    server.handle({kDisconnectReq, 1, kUnknown});
    server.handle({kDisconnectReq});
    server.handle({kDisconnectReq, 1, kFirst});
    abandon(server);
}

}  // namespace TraceWalk
