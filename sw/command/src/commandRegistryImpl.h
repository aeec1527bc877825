// commandRegistryImpl.h: the commands of this process and the threads that serve them.
//
// Private header of command.
//
// One per process, for any thread. The mutex guards the table of names alone, and nobody is
// called while it is held. The registry owns the active object that serves the concurrent
// commands.
#ifndef QUORIA_COMMAND_COMMANDREGISTRYIMPL_H
#define QUORIA_COMMAND_COMMANDREGISTRYIMPL_H

#include "handlerInvokers.h"

#include <quoria/activeObject/activeObjectIf.h>
#include <quoria/command/commandRegistryIf.h>

#include <sys/types.h>

#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>

namespace Quoria::CommandRegistry::V1 {

class CommandRegistryImpl : public CommandRegistryIf {
public:
    static CommandRegistryImpl* getInstance();

    CommandRegistryImpl();
    ~CommandRegistryImpl() override;
    CommandRegistryImpl(const CommandRegistryImpl&) = delete;
    CommandRegistryImpl& operator=(const CommandRegistryImpl&) = delete;

    CommandTypes::CommandResultCode registerCommandHandler(const std::string& name,
                                                           const Backend::CommandHandler& handler,
                                                           bool concurrent) override;
    CommandTypes::CommandResultCode registerAsynchCommandHandler(
        const std::string& name, const Backend::AsynchCommandHandler& handler) override;
    CommandTypes::CommandResultCode deregisterCommandHandler(const std::string& name) override;

    // Forgets all names and destroys the calling thread's server. What other threads serve, the
    // active object among them, is still served.
    void reset();

private:
    // These three run on the active object's thread.
    void initAO();
    void registerCommandHandlerInAO(const std::string& name,
                                    const Backend::CommandHandler& handler);
    void deregisterCommandHandlerInAO(const std::string& name);

    // Whether the active object's thread would not end however long one waited for it.
    bool mustNotJoin() const;
    // Returns whether the name was new and can be served.
    bool addName(const std::string& name, bool concurrent);

    std::mutex mutex_;
    std::unordered_map<std::string, bool> isServedInAO_;  // by name
    std::shared_ptr<ActiveObject::V1::ActiveObjectIf> activeObject_;
    const pid_t process_;  // that has the active object's thread; a forked child does not
};

}  // namespace Quoria::CommandRegistry::V1

#endif
