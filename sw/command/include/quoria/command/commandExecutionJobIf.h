// commandExecutionJobIf.h: one execution of a command, as its handler sees it.
//
// Public header.
//
// The library makes the job when a client asks for an execution. It belongs to whoever holds a
// std::shared_ptr to it: the library while it calls the handler, an asynchronous handler for as
// long as it keeps its copy. The execution goes on after the client has disconnected or died,
// but nothing reaches the client any more: what is written is dropped, and neither the stream
// nor done() tells.
//
// Thread: any, one at a time. A job may move from thread to thread, which then need no mailbox
// of their own; the output of one job must not be written by two threads at once.
#ifndef QUORIA_COMMAND_COMMANDEXECUTIONJOBIF_H
#define QUORIA_COMMAND_COMMANDEXECUTIONJOBIF_H

#include <quoria/command/commandTypes.h>
#include <quoria/util/export.h>

#include <ostream>
#include <string>
#include <vector>

namespace Quoria::CommandRegistry::V1 {

class QUORIA_EXPORT CommandExecutionJobIf {
public:
    CommandExecutionJobIf(const CommandExecutionJobIf&) = delete;
    CommandExecutionJobIf& operator=(const CommandExecutionJobIf&) = delete;

    // Returns the name under which the command was registered; it lives as long as the job.
    // Thread: any
    virtual const std::string& getCommandName() = 0;

    // Returns the client's arguments in their order; they live as long as the job.
    // Thread: any
    virtual const std::vector<std::string>& getArgs() = 0;

    // Returns the stream to the client; it lives as long as the job. Nothing is buffered: each
    // write is sent at once, as one message (several if it is longer than a message can be), and a
    // single character too is a message of its own. A write never fails.
    // Thread: any
    virtual std::ostream& getOutStream() = 0;

    // Sends the result to the client, behind all output so far. Call it once: the client's call
    // returns with the first result, and what is sent later confuses its next one. A job that ends
    // without it leaves the client waiting until the mailbox of its server goes away. Only
    // asynchronous handlers call it; for the others the library does.
    // Thread: any
    virtual void done(const CommandTypes::CommandResultCode& result) = 0;

    virtual ~CommandExecutionJobIf();

protected:
    CommandExecutionJobIf() = default;
};

}  // namespace Quoria::CommandRegistry::V1

#endif
