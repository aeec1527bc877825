#include "listCommands.h"

#include "commandName.h"
#include "domainEntries.h"
#include "json.h"
#include "standardStreams.h"
#include "table.h"
#include "text.h"

#include <itc.h>
#include <itc_admin.h>
#include <sys/types.h>

#include <algorithm>
#include <string>
#include <vector>

namespace Rci {

namespace {

struct Command {
    std::string name;
    itc_mbox_id_t mailbox;
    pid_t pid;
    std::string process;
};

std::vector<Command> commandsOf(const std::vector<MailboxEntry>& mailboxes) {
    std::vector<Command> commands;
    for (const MailboxEntry& mailbox : mailboxes) {
        for (const std::string& name : mailbox.names) {
            if (name.compare(0, kMailboxPrefix.size(), kMailboxPrefix) == 0) {
                commands.push_back(
                    {name.substr(kMailboxPrefix.size()), mailbox.id, mailbox.pid, mailbox.process});
            }
        }
    }
    return commands;
}

bool isOutOfReach(const Command& command) {
    return itc_locate(mailboxNameOf(command.name).c_str()) != command.mailbox;
}

std::string asTable(const std::vector<Command>& commands) {
    std::vector<Row> rows{{"COMMAND", "MAILBOX", "PID", "PROCESS"}};
    for (const Command& command : commands) {
        rows.push_back({printable(command.name), std::to_string(command.mailbox),
                        std::to_string(command.pid), printable(command.process)});
    }
    return table(rows);
}

std::string asArray(const std::vector<Command>& commands) {
    std::vector<JsonObject> objects;
    objects.reserve(commands.size());
    for (const Command& command : commands) {
        objects.push_back(JsonObject()
                              .add("command", command.name)
                              .add("mailbox", command.mailbox)
                              .add("pid", command.pid)
                              .add("process", command.process));
    }
    return jsonArray(objects);
}

}  // namespace

int listCommands(bool asJson) {
    std::vector<Command> commands = commandsOf(livingMailboxes());
    commands.erase(std::remove_if(commands.begin(), commands.end(), isOutOfReach), commands.end());
    std::sort(commands.begin(), commands.end(),
              [](const Command& a, const Command& b) { return a.name < b.name; });
    writeOutput(asJson ? asArray(commands) : asTable(commands));
    // Whoever sees none may have looked in the wrong place.
    if (commands.empty() && !asJson) {
        complain(std::string("no command in mailbox domain ") + itc_domain_path());
    }
    return 0;
}

}  // namespace Rci
