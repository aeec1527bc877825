#include "commandRegistryImpl.h"

#include "commandName.h"

#include <quoria/itc/itcOperations.h>
#include <quoria/itcMessageSubscription/itcMessageSubscriptionIf.h>
#include <quoria/trace/trace.h>

#include <unistd.h>

#include <array>
#include <cstdint>
#include <memory>
#include <new>
#include <utility>

namespace Quoria::CommandRegistry::V1 {

using ActiveObject::V1::ActiveObjectIf;
using Backend::RciServer;
using CommandTypes::CommandResultCode;
using ItcMessageSubscription::V1::ItcMessageSubscriptionIf;

CommandRegistryImpl* CommandRegistryImpl::getInstance() {
    static CommandRegistryImpl instance;
    return &instance;
}

CommandRegistryImpl::CommandRegistryImpl() : process_(getpid()) {
    ActiveObjectIf::SchedulingPolicy policy{};
    policy.policy = ActiveObjectIf::SchedulingPolicy::DEFAULT;
    activeObject_ = ActiveObjectIf::create(
        "RciServer", [this] { initAO(); }, policy);
}

CommandRegistryImpl::~CommandRegistryImpl() {
    if (mustNotJoin()) {
        // Never destroyed, and made without memory that there might be none of.
        alignas(decltype(activeObject_)) static std::array<char, sizeof(activeObject_)> leftRunning;
        new (leftRunning.data()) std::shared_ptr<ActiveObjectIf>(std::move(activeObject_));
    }
}

CommandResultCode CommandRegistryImpl::registerCommandHandler(
    const std::string& name, const Backend::CommandHandler& handler, bool concurrent) {
    if (concurrent && activeObject_ == nullptr) {
        return CommandTypes::Failed;
    }
    if (!addName(name, concurrent)) {
        return CommandTypes::InvalidArguments;
    }
    if (concurrent) {
        activeObject_->executeFunction(
            [this, name, handler] { registerCommandHandlerInAO(name, handler); });
    } else {
        RciServer::getThreadLocalInstance()->registerCommandInvoker(
            name, Backend::invokeSynchronously(handler));
    }
    return CommandTypes::Success;
}

CommandResultCode CommandRegistryImpl::registerAsynchCommandHandler(
    const std::string& name, const Backend::AsynchCommandHandler& handler) {
    if (!addName(name, false)) {
        return CommandTypes::InvalidArguments;
    }
    RciServer::getThreadLocalInstance()->registerCommandInvoker(
        name, Backend::invokeAsynchronously(handler));
    return CommandTypes::Success;
}

CommandResultCode CommandRegistryImpl::deregisterCommandHandler(const std::string& name) {
    bool isServedInAO = false;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        const auto entry = isServedInAO_.find(name);
        if (entry == isServedInAO_.end()) {
            return CommandTypes::Failed;
        }
        isServedInAO = entry->second;
        isServedInAO_.erase(entry);
    }
    if (isServedInAO) {
        activeObject_->executeFunction([this, name] { deregisterCommandHandlerInAO(name); });
    } else {
        RciServer::getThreadLocalInstance()->deregisterCommandInvoker(name);
    }
    return CommandTypes::Success;
}

void CommandRegistryImpl::reset() {
    RciServer::reset();
    const std::lock_guard<std::mutex> lock(mutex_);
    isServedInAO_.clear();
}

void CommandRegistryImpl::initAO() {
    constexpr const char* kName = "RciServer";
    if (Itc::createMailbox(kName) == Itc::kItcNoMailbox) {
        QTRACE_ERROR("itc_create_mailbox failed for mailbox: " << kName);
        return;
    }
    // A failure is the event loop's to report; clients then find nobody who answers.
    static_cast<void>(ItcMessageSubscriptionIf::getInstance().monitorItcFd(Itc::getFd()));
}

void CommandRegistryImpl::registerCommandHandlerInAO(const std::string& name,
                                                     const Backend::CommandHandler& handler) {
    RciServer::getThreadLocalInstance()->registerCommandInvoker(
        name, Backend::invokeConcurrently(handler));
}

void CommandRegistryImpl::deregisterCommandHandlerInAO(const std::string& name) {
    RciServer::getThreadLocalInstance()->deregisterCommandInvoker(name);
}

bool CommandRegistryImpl::mustNotJoin() const {
    // When a concurrent handler ends the process, the active object waits for that very thread.
    return Backend::isConcurrentHandlerThread() || getpid() != process_;
}

bool CommandRegistryImpl::addName(const std::string& name, bool concurrent) {
    const bool canBeServed =
        Command::Backend::isMailboxName(Command::Backend::mailboxNameOf(name)) &&
        (!concurrent || Command::Backend::isMailboxName(Backend::concurrentMailboxNameOf(name)));
    if (!canBeServed) {
        return false;
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    return isServedInAO_.emplace(name, concurrent).second;
}

}  // namespace Quoria::CommandRegistry::V1
