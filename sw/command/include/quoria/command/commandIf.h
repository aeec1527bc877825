// commandIf.h: runs a command that some thread of this machine has registered.
//
// Public header.
//
// The object is the caller's; it holds no connection between two calls. One thread at a time may
// use it; each thread that runs commands needs a mailbox of its own.
//
// A thread can't reach the commands that it serves itself, nor a concurrent command those of its
// own process: their server would have to answer while it waits. A server that answers only after
// the timeout leaves its answer in the caller's mailbox, where the next execute() on that thread
// takes it for the answer to its own request. After a timeout, go on with a new mailbox or on
// another thread.
#ifndef QUORIA_COMMAND_COMMANDIF_H
#define QUORIA_COMMAND_COMMANDIF_H

#include <quoria/command/commandTypes.h>
#include <quoria/util/export.h>

#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace Quoria::Command::V1 {

class QUORIA_EXPORT CommandIf {
public:
    CommandIf(const CommandIf&) = delete;
    CommandIf& operator=(const CommandIf&) = delete;

    // Makes a handle for the command `name`. Nobody is contacted yet, so this always succeeds.
    // Thread: any
    static std::shared_ptr<CommandIf> create(const std::string& name);

    // Connects to the command, runs it once with `args` and disconnects. Its output is written to
    // `out` as it arrives. Blocks: up to 15 seconds for the connection, then until the command has
    // finished or the thread that serves it has lost its mailbox. Messages of other kinds stay in
    // the caller's mailbox.
    // Returns the command's result. If it can't be run, or its end can't be known, returns Failed
    // after a line on `out` that says why:
    //   "No handler found for command: " + name
    //   "Timeout when connecting to command handler: " + name
    //   "Connect rejected by server. Client's supported protocol revision is 1"
    //   "Lost connection to server", behind the output so far
    //   "The calling thread has no mailbox to run command: " + name
    //   "Malformed answer from command handler: " + name
    //   "An argument holds a NUL byte, which can't be sent to command: " + name
    //   "The arguments are too long to be sent to command: " + name
    //   "No memory left to run command: " + name
    // Thread: any
    virtual CommandTypes::CommandResultCode execute(const std::vector<std::string>& args,
                                                    std::ostream& out) = 0;

    virtual ~CommandIf();

protected:
    CommandIf() = default;
};

}  // namespace Quoria::Command::V1

#endif
