#include "rciServer.h"

#include "commandExecutionJobImpl.h"
#include "commandName.h"
#include "rciMessage.h"
#include "rciSend.h"

#include <quoria/itcMailboxMonitor/itcMailboxMonitorIf.h>
#include <quoria/itcMessageSubscription/itcMessageSubscriptionIf.h>
#include <quoria/threadLocal/threadLocalLinux.h>
#include <quoria/trace/trace.h>

#include <ios>
#include <utility>
#include <vector>

namespace Quoria::CommandRegistry::Backend {

namespace {

namespace Rci = Command::Backend;
using ItcMailboxMonitor::V1::ItcMailboxMonitorIf;
using ItcMessageSubscription::V1::ItcMessageSubscriptionIf;
using ItcMessageSubscription::V1::MsgHandler;
using ThreadInstance = ThreadLocal::V1::detail::ThreadLocalLinux<RciServer, 1>;
using RequestHandler = void (RciServer::*)(const std::shared_ptr<itc_msg>&);

void answer(itc_msg* msg, std::uint32_t client) {
    sendRci(msg, client, Itc::kItcOwnMailbox);
}

}  // namespace

RciServer* RciServer::getThreadLocalInstance() {
    return ThreadInstance::getInstance();
}

void RciServer::reset() {
    ThreadInstance::resetInstance();
}

RciServer::RciServer() : self_(std::make_shared<RciServer*>(this)) {
    init();
}

RciServer::~RciServer() {
    *self_ = nullptr;
    // A handler that goes may deregister commands as it does so, which comes back here.
    const auto invokers = std::exchange(commandInvokers_, {});
}

void RciServer::init() {
    QTRACE_TRACE1("-", "init called");
    auto& subscription = ItcMessageSubscriptionIf::getInstance();
    const auto subscribe = [&](std::uint32_t msgNo, RequestHandler handle) {
        const MsgHandler handler = [self = self_, handle](const std::shared_ptr<itc_msg>& msg) {
            if (*self != nullptr) {
                ((**self).*handle)(msg);
            }
        };
        // A duplicate is what an earlier server of this thread has left there.
        static_cast<void>(subscription.addMsgHandler(msgNo, handler));
    };
    subscribe(Rci::kRciConnectReqMsgNo, &RciServer::handleConnectMsg);
    subscribe(Rci::kRciExecuteReqMsgNo, &RciServer::handleExecuteCommandMsg);
    subscribe(Rci::kRciDisconnectReqMsgNo, &RciServer::handleDisconnectMsg);
}

void RciServer::registerCommandInvoker(const std::string& name, const CommandInvoker& invoker) {
    QTRACE_TRACE1("-", "Command '" << name << "' registered");
    const std::uint32_t mailbox = Itc::currentMailbox();
    if (mailbox == Itc::kItcNoMailbox) {
        QTRACE_ERROR("No mailbox on this thread to serve command: " << name);
    }
    Itc::addName(mailbox, Rci::mailboxNameOf(name).c_str());
    // Shared, so that a command may deregister itself while it runs and yet keeps its state from
    // one execution to the next.
    commandInvokers_.emplace(
        name, [kept = std::make_shared<const CommandInvoker>(invoker)](
                  const std::shared_ptr<V1::CommandExecutionJobIf>& job) { (*kept)(job); });
}

void RciServer::deregisterCommandInvoker(const std::string& name) {
    QTRACE_TRACE1("-", "Command '" << name << "' deregistered");
    // Let go only when it is out of the table: what it holds may come back here.
    const auto released = commandInvokers_.extract(name);
}

void RciServer::handleConnectMsg(const std::shared_ptr<itc_msg>& msg) {
    const std::uint32_t client = Itc::sender(msg.get());
    Rci::RciMessageReader reader(msg.get());
    Rci::RciConnectReq request;
    bool revisionIsOffered = false;
    std::string name;
    if (!reader.readLayout(request) ||
        !reader.searchWords(request.revisionCount, Rci::kRciRevision, revisionIsOffered) ||
        !reader.readCountedText(name)) {
        QTRACE_ERROR("Ignoring malformed connect request from mailbox: 0x" << std::hex << client);
        return;
    }
    if (revisionIsOffered && commandInvokers_.count(name) != 0) {
        acceptConnection(name, request.clientRef, request.clientConnectionRef, client);
        return;
    }
    QTRACE_INFO("ABN: Connect rejected for command '" << name << "'");
    answer(Rci::buildRciMessage(Rci::RciConnectRej{Rci::kRciConnectRejMsgNo, request.clientRef, 0}),
           client);
}

void RciServer::acceptConnection(const std::string& name, std::uint32_t clientRef,
                                 std::uint32_t clientConnectionRef, std::uint32_t client) {
    QTRACE_TRACE1(
        "-", "Connect accepted for command '" << name << "'. Protocol rev: " << Rci::kRciRevision);
    const std::uint32_t connectionRef = ++lastConnectionRef_;
    const auto onClientGone = [self = self_, connectionRef](unsigned int) {
        if (*self != nullptr) {
            (*self)->handleItcMailboxMonitorInd(connectionRef);
        }
    };
    const unsigned int monitorRef =
        ItcMailboxMonitorIf::getInstance().monitor(client, onClientGone);
    connections_.emplace(connectionRef, std::make_shared<RciServerConnection>(
                                            name, clientConnectionRef, monitorRef));
    answer(Rci::buildRciMessage(Rci::RciConnectCfm{Rci::kRciConnectCfmMsgNo, clientRef,
                                                   connectionRef, Rci::kRciRevision}),
           client);
}

void RciServer::handleExecuteCommandMsg(const std::shared_ptr<itc_msg>& msg) {
    const std::uint32_t client = Itc::sender(msg.get());
    const auto reportMalformed = [client] {
        QTRACE_ERROR("Ignoring malformed execute request from mailbox: 0x" << std::hex << client);
    };
    Rci::RciMessageReader reader(msg.get());
    Rci::RciExecuteReq request;
    if (!reader.readLayout(request)) {
        reportMalformed();
        return;
    }
    const auto procedure =
        std::make_shared<RciServerProcedure>(request.clientRef, client, Itc::currentMailbox());
    const auto entry = connections_.find(request.connectionRef);
    if (entry == connections_.end()) {
        QTRACE_ERROR(
            "Ignoring execute request with invalid connection ref: " << request.connectionRef);
        return;
    }
    const std::shared_ptr<RciServerConnection> connection = entry->second;
    std::vector<std::string> args;
    if (!reader.readTerminatedTexts(request.argCount, args)) {
        reportMalformed();
        return;
    }
    sendRci(Rci::buildRciMessage(Rci::RciExecuteCfm{Rci::kRciExecuteCfmMsgNo, request.clientRef,
                                                    connection->clientConnectionRef}),
            client, procedure->serverMbox);
    QTRACE_TRACE1("-", "Received execute request for command '" << connection->commandName
                                                                << "' with args: " << args);
    invokeCmd(std::make_shared<V1::CommandExecutionJobImpl>(args, procedure, connection));
}

void RciServer::invokeCmd(const std::shared_ptr<V1::CommandExecutionJobIf>& job) {
    const std::string& name = job->getCommandName();
    const auto entry = commandInvokers_.find(name);
    if (entry == commandInvokers_.end()) {
        QTRACE_ERROR("No handler registered for command: " << name);
        return;
    }
    // A copy of the handle, because the command may deregister itself or reset this server.
    const CommandInvoker invoker = entry->second;
    invoker(job);
}

void RciServer::handleDisconnectMsg(const std::shared_ptr<itc_msg>& msg) {
    const std::uint32_t client = Itc::sender(msg.get());
    Rci::RciMessageReader reader(msg.get());
    Rci::RciDisconnectReq request;
    if (!reader.readLayout(request)) {
        QTRACE_ERROR("Ignoring malformed disconnect request from mailbox: 0x" << std::hex
                                                                              << client);
        return;
    }
    const auto entry = connections_.find(request.connectionRef);
    if (entry == connections_.end()) {
        QTRACE_ERROR(
            "Ignoring disconnect request with invalid connection ref: " << request.connectionRef);
        return;
    }
    const std::shared_ptr<RciServerConnection> connection = entry->second;
    static_cast<void>(ItcMailboxMonitorIf::getInstance().unmonitor(connection->monitorRef));
    QTRACE_TRACE1("-", "Disconnect accepted for command '" << connection->commandName << "'");
    answer(Rci::buildRciMessage(Rci::RciDisconnectCfm{
               Rci::kRciDisconnectCfmMsgNo, request.clientRef, connection->clientConnectionRef}),
           client);
    connection->close();
    connections_.erase(entry);
}

void RciServer::handleItcMailboxMonitorInd(unsigned int connectionRef) {
    const auto entry = connections_.find(connectionRef);
    if (entry == connections_.end()) {
        return;
    }
    QTRACE_INFO("ABN: command '" << entry->second->commandName << "' aborted by the client");
    entry->second->close();
    connections_.erase(entry);
}

}  // namespace Quoria::CommandRegistry::Backend
