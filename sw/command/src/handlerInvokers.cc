#include "handlerInvokers.h"

#include <quoria/itc/itcOperations.h>
#include <quoria/trace/trace.h>

#include <pthread.h>

#include <cstdint>
#include <future>
#include <thread>
#include <utility>

namespace Quoria::CommandRegistry::Backend {

namespace {

using CommandTypes::CommandResultCode;
using Job = std::shared_ptr<V1::CommandExecutionJobIf>;

thread_local bool onConcurrentHandlerThread = false;

// The body of the thread. It owns the promise, so that the waiting thread can go on while
// set_value() is still returning.
void runOnOwnThread(std::promise<CommandResultCode> result, const CommandHandler& handler,
                    const Job& job) {
    onConcurrentHandlerThread = true;
    // Without its name the thread works just as well.
    static_cast<void>(pthread_setname_np(pthread_self(), "RciCmdHandler"));
    const std::string& name = job->getCommandName();
    const std::uint32_t mailbox = Itc::createMailbox(concurrentMailboxNameOf(name).c_str());
    if (mailbox == Itc::kItcNoMailbox) {
        QTRACE_ERROR("itc_create_mailbox failed for concurrent cmd handler: " << name);
        result.set_value(CommandTypes::Failed);
        return;
    }
    QTRACE_TRACE1("-", "Invoking concurrent cmd handler: " << name);
    const CommandResultCode code = handler(job->getArgs(), job->getOutStream());
    Itc::deleteMailbox(mailbox);
    result.set_value(code);
}

}  // namespace

CommandInvoker invokeSynchronously(const CommandHandler& handler) {
    return [handler](const Job& job) {
        QTRACE_TRACE1("-", "Invoking synchronous cmd handler: " << job->getCommandName());
        job->done(handler(job->getArgs(), job->getOutStream()));
    };
}

CommandInvoker invokeAsynchronously(const AsynchCommandHandler& handler) {
    return [handler](const Job& job) {
        QTRACE_TRACE1("-", "Invoking asynchronous cmd handler: " << job->getCommandName());
        handler(job);
    };
}

CommandInvoker invokeConcurrently(const CommandHandler& handler) {
    return [handler](const Job& job) {
        std::promise<CommandResultCode> promise;
        std::future<CommandResultCode> result = promise.get_future();
        std::thread thread(runOnOwnThread, std::move(promise), handler, job);
        const CommandResultCode code = result.get();
        thread.join();
        job->done(code);
    };
}

std::string concurrentMailboxNameOf(const std::string& commandName) {
    return "cmdHandler:" + commandName;
}

bool isConcurrentHandlerThread() {
    return onConcurrentHandlerThread;
}

}  // namespace Quoria::CommandRegistry::Backend
