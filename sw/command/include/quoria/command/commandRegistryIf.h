// commandRegistryIf.h: offers named commands to the clients of this machine.
//
// Public header.
//
// There is one registry per process. Any thread may call it; the kind of a handler decides which
// thread serves its clients and which one runs it:
//
//   synchronous   served and run by the thread that registers it
//   asynchronous  likewise, but it returns at once and finishes when it likes
//   concurrent    served by a thread of the registry, "RciServer", that the first getInstance()
//                 starts; run by a new thread "RciCmdHandler" per execution, which owns a mailbox
//
// A thread that registers a synchronous or asynchronous handler must own a mailbox, feed it to
// its ItcMessageSubscriptionIf and run its event loop; its commands can be reached until it
// ends. While a synchronous or concurrent handler runs, nobody else is served by the thread that
// serves it: a slow concurrent command keeps all the other concurrent ones waiting, but no
// synchronous one.
//
// A command can be reached as soon as the mailbox name "RCI:" + its name exists. Names may hold
// any byte but NUL. With this prefix ("cmdHandler:" for concurrent ones) they must not be longer
// than a mailbox name can be, ITC_MAX_NAME_LENGTH, which itc.h explains: 251 (244) ordinary
// characters.
//
// An exception that a handler throws is not caught. One that leaves a concurrent handler ends
// the process, and so does a concurrent handler that ends its thread (pthread_exit); one that
// leaves another handler leaves the run() of its thread's event loop.
//
// The registry goes at the exit of the process, which waits for a concurrent handler that still
// runs (unless it is this handler that calls exit). It must not be used after that.
#ifndef QUORIA_COMMAND_COMMANDREGISTRYIF_H
#define QUORIA_COMMAND_COMMANDREGISTRYIF_H

#include <quoria/command/commandExecutionJobIf.h>
#include <quoria/command/commandTypes.h>
#include <quoria/util/export.h>

#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace Quoria::CommandRegistry::V1 {

class QUORIA_EXPORT CommandRegistryIf {
public:
    CommandRegistryIf(const CommandRegistryIf&) = delete;
    CommandRegistryIf& operator=(const CommandRegistryIf&) = delete;

    // Returns the process's registry, made by the first call; never null.
    // Thread: any
    static CommandRegistryIf* getInstance();

    // Registers a handler that returns the result: synchronous, or concurrent if `concurrent`. It
    // is copied; it gets the client's arguments and the stream to the client, both of which it must
    // not keep. A concurrent command can be reached only a little after this call.
    // Returns Success; InvalidArguments, with nothing changed, if the name is registered already
    // (by whatever kind of handler) or is one that no mailbox can carry; Failed, with nothing
    // changed, if `concurrent` and the registry's thread could not be started. Success does not say
    // that clients find the command: a serving thread without a mailbox reports that as an ERROR
    // trace event, and of several processes that offer a command the oldest serves it.
    // Thread: any
    virtual CommandTypes::CommandResultCode registerCommandHandler(
        const std::string& name,
        const std::function<CommandTypes::CommandResultCode(const std::vector<std::string>& args,
                                                            std::ostream& out)>& handler,
        bool concurrent) = 0;

    // Registers an asynchronous handler. It is copied; it shares the job's ownership and must see
    // to it that done() is called on it once, now or later, on this thread or any other.
    // Returns Success; InvalidArguments, with nothing changed, if the name is registered already
    // (by whatever kind of handler) or is one that no mailbox can carry.
    // Thread: any
    virtual CommandTypes::CommandResultCode registerAsynchCommandHandler(
        const std::string& name,
        const std::function<void(std::shared_ptr<CommandExecutionJobIf> job)>& handler) = 0;

    // Withdraws a command: new clients are rejected, clients that are connected get no result for
    // what they execute from now on. A synchronous or asynchronous command must be withdrawn by the
    // thread that registered it; by another one it loses its entry here, but is still served. A
    // handler may withdraw its own command. The name may be registered again.
    // Returns Success; Failed, with nothing changed, if the name is not registered.
    // Thread: any
    virtual CommandTypes::CommandResultCode deregisterCommandHandler(const std::string& name) = 0;

    virtual ~CommandRegistryIf();

protected:
    CommandRegistryIf() = default;
};

}  // namespace Quoria::CommandRegistry::V1

#endif
