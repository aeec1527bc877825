// commandTypes.h: the result of a command.
//
// Public header.
//
// Plain values; any thread.
#ifndef QUORIA_COMMAND_COMMANDTYPES_H
#define QUORIA_COMMAND_COMMANDTYPES_H

namespace Quoria::CommandTypes {

// What a handler returns and what its client gets. A client gets any value other than these three
// as Failed.
enum CommandResultCode : unsigned int {
    Success = 0,
    InvalidArguments = 1,
    Failed = 2,
};

}  // namespace Quoria::CommandTypes

#endif
