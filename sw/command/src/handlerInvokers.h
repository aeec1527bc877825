// handlerInvokers.h: turns the three kinds of command handlers into invokers for the server.
//
// Private header of command.
//
// Any thread. An invoker owns a copy of its handler and runs on the thread of its server.
#ifndef QUORIA_COMMAND_HANDLERINVOKERS_H
#define QUORIA_COMMAND_HANDLERINVOKERS_H

#include "rciServer.h"

#include <quoria/command/commandTypes.h>

#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace Quoria::CommandRegistry::Backend {

using CommandHandler = std::function<CommandTypes::CommandResultCode(
    const std::vector<std::string>& args, std::ostream& out)>;
using AsynchCommandHandler = std::function<void(std::shared_ptr<V1::CommandExecutionJobIf>)>;

// Runs the handler on the server's thread and reports its result.
CommandInvoker invokeSynchronously(const CommandHandler& handler);

// Hands the job over to the handler, which reports the result when it likes.
CommandInvoker invokeAsynchronously(const AsynchCommandHandler& handler);

// Runs the handler on a thread and with a mailbox of its own, waits for it and reports its result.
CommandInvoker invokeConcurrently(const CommandHandler& handler);

// The name of that mailbox.
std::string concurrentMailboxNameOf(const std::string& commandName);

// Whether the calling thread was made for a concurrent handler.
bool isConcurrentHandlerThread();

}  // namespace Quoria::CommandRegistry::Backend

#endif
