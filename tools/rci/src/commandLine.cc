#include "commandLine.h"

#include "commandName.h"
#include "exitCodes.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <iterator>
#include <memory>
#include <sstream>

namespace Rci {

namespace {

using Words = std::vector<std::string>;

class RunFormatter : public CLI::Formatter {
public:
    std::string make_usage(const CLI::App*, std::string) const override {
        return "Usage: rci run [OPTIONS] [--] NAME [ARG...]\n";
    }
};

// Where the name of the command to run stands, or the end if this is no `run` or has no name.
Words::const_iterator findCommandName(const Words& words) {
    if (words.empty() || words.front() != "run") {
        return words.end();
    }
    const auto isNoOption = [](const std::string& word) {
        return word == "-" || word == "--" || word.empty() || word.front() != '-';
    };
    const auto found = std::find_if(std::next(words.begin()), words.end(), isNoOption);
    return found != words.end() && *found == "--" ? std::next(found) : found;
}

// What is wrong, in one line. `app` has read what it could of `words`.
std::string complaintAbout(const CLI::App& app, const Words& words, const CLI::ParseError& error) {
    const Words unknown = app.remaining(true);
    const auto word = std::find_if(unknown.begin(), unknown.end(),
                                   [](const std::string& one) { return one != "--"; });
    if (word == unknown.end()) {
        return app.get_subcommands().empty() ? "a subcommand is required: run or list"
                                             : error.what();
    }
    if (!word->empty() && word->front() == '-') {
        return "unknown option: " + *word;
    }
    return (*word == words.front() ? "unknown subcommand: " : "unexpected argument: ") + *word;
}

// Where more can be read about what was to be called.
std::string hintFor(const CLI::App& app) {
    const std::vector<CLI::App*> parts = app.get_subcommands();
    return " (see rci " + (parts.empty() ? "" : parts.front()->get_name() + " ") + "--help)";
}

void checkName(const std::string& name) {
    if (name.empty()) {
        throw CLI::ValidationError("NAME is empty", CLI::ExitCodes::ValidationError);
    }
    if (!isMailboxName(mailboxNameOf(name))) {
        throw CLI::ValidationError("NAME is too long for a command",
                                   CLI::ExitCodes::ValidationError);
    }
}

Words reversed(const Words& words) {
    return Words(words.rbegin(), words.rend());
}

}  // namespace

Request parseCommandLine(const Words& words) {
    CLI::App app("Runs the commands that the services of this machine offer.", "rci");
    app.set_version_flag("--version", "rci " RCI_VERSION);
    app.require_subcommand(1);

    CLI::App* run = app.add_subcommand("run", "Run a command and show its output as it comes");
    run->formatter(std::make_shared<RunFormatter>());
    run->footer(
        "NAME is the command, as `rci list` shows it. The ARGs are passed to it as they are, also\n"
        "those that begin with \"-\".\n"
        "\n"
        "Exit codes:\n"
        "  0    the command succeeded\n"
        "  1    it was given invalid arguments\n"
        "  2    it failed, could not be connected to or was lost on the way\n"
        "  125  rci was used wrongly or could not do its part\n"
        "  127  nobody serves this command");

    ListRequest listRequest;
    CLI::App* list = app.add_subcommand("list", "List the commands that can be reached now");
    list->add_flag("--json", listRequest.asJson, "Print a JSON array, for programs");
    list->footer(
        "A command that its service has withdrawn stays listed until the service ends.\n"
        "\n"
        "Exit codes:\n"
        "  0    the list is complete, even if it is empty\n"
        "  125  rci was used wrongly or could not do its part");

    const auto name = findCommandName(words);
    try {
        const bool hasMark = name != words.begin() && *std::prev(name) == "--";
        app.parse(reversed(Words(words.begin(), hasMark ? std::prev(name) : name)));
        if (*list) {
            return listRequest;
        }
        if (name == words.end()) {
            throw CLI::RequiredError("NAME");
        }
        checkName(*name);
    } catch (const CLI::Success& wish) {
        std::ostringstream output;
        app.exit(wish, output);
        return Answer{output.str(), "", 0};
    } catch (const CLI::ParseError& error) {
        return Answer{"", "rci: " + complaintAbout(app, words, error) + hintFor(app),
                      kExitToolError};
    }
    return RunRequest{*name, Words(std::next(name), words.end())};
}

}  // namespace Rci
