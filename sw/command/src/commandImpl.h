// commandImpl.h: a command by name.
//
// Private header of command.
//
// One thread at a time. It keeps the name and nothing else: each execution has its own
// connection.
#ifndef QUORIA_COMMAND_COMMANDIMPL_H
#define QUORIA_COMMAND_COMMANDIMPL_H

#include <quoria/command/commandIf.h>

#include <string>

namespace Quoria::Command::V1 {

class CommandImpl : public CommandIf {
public:
    explicit CommandImpl(const std::string& name);
    ~CommandImpl() override = default;

    CommandTypes::CommandResultCode execute(const std::vector<std::string>& args,
                                            std::ostream& out) override;

private:
    const std::string name_;
};

}  // namespace Quoria::Command::V1

#endif
