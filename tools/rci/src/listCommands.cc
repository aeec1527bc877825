#include "listCommands.h"

#include "commandName.h"
#include "exitCodes.h"
#include "standardStreams.h"
#include "text.h"

#include <itc.h>
#include <itc_admin.h>
#include <sys/types.h>

#include <algorithm>
#include <array>
#include <exception>
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

struct Listing {
    std::vector<Command> commands;
    std::exception_ptr failure;
};

// No exception may pass through itc on its way out.
bool collect(const itc_mailbox_info* info, void* context) {
    auto& listing = *static_cast<Listing*>(context);
    try {
        for (std::uint32_t i = 0; i < info->name_count; ++i) {
            const std::string_view name = info->names[i];
            if (name.substr(0, kMailboxPrefix.size()) == kMailboxPrefix) {
                listing.commands.push_back({std::string(name.substr(kMailboxPrefix.size())),
                                            info->id, info->pid, info->process_name});
            }
        }
        return true;
    } catch (...) {
        listing.failure = std::current_exception();
        return false;
    }
}

bool isOutOfReach(const Command& command) {
    return itc_locate(mailboxNameOf(command.name).c_str()) != command.mailbox;
}

std::string table(const std::vector<Command>& commands) {
    using Row = std::array<std::string, 4>;
    std::vector<Row> rows{{"COMMAND", "MAILBOX", "PID", "PROCESS"}};
    for (const Command& command : commands) {
        rows.push_back({printable(command.name), std::to_string(command.mailbox),
                        std::to_string(command.pid), printable(command.process)});
    }
    std::array<std::size_t, 4> widths{};
    for (const Row& row : rows) {
        for (std::size_t column = 0; column < row.size(); ++column) {
            widths[column] = std::max(widths[column], width(row[column]));
        }
    }
    std::string text;
    for (const Row& row : rows) {
        for (std::size_t column = 0; column + 1 < row.size(); ++column) {
            text += row[column] + std::string(widths[column] - width(row[column]) + 2, ' ');
        }
        text += row.back() + "\n";
    }
    return text;
}

std::string json(const std::vector<Command>& commands) {
    std::string text = "[";
    const char* separator = "\n";
    for (const Command& command : commands) {
        text += separator;
        text += "  {\"command\": " + jsonString(command.name) +
                ", \"mailbox\": " + std::to_string(command.mailbox) +
                ", \"pid\": " + std::to_string(command.pid) +
                ", \"process\": " + jsonString(command.process) + "}";
        separator = ",\n";
    }
    return text + (commands.empty() ? "]\n" : "\n]\n");
}

}  // namespace

int listCommands(bool asJson) {
    Listing listing;
    if (itc_list_mailboxes(&collect, &listing) == -1) {
        complain(std::string("rci: can't list the mailboxes: ") + itc_error_text());
        return kExitToolError;
    }
    if (listing.failure) {
        std::rethrow_exception(listing.failure);
    }
    auto& commands = listing.commands;
    commands.erase(std::remove_if(commands.begin(), commands.end(), isOutOfReach), commands.end());
    std::sort(commands.begin(), commands.end(),
              [](const Command& a, const Command& b) { return a.name < b.name; });
    writeOutput(asJson ? json(commands) : table(commands));
    return 0;
}

}  // namespace Rci
