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

constexpr char kJsonHelp[] = "Print a JSON array, for programs";

class UsageFormatter : public CLI::Formatter {
public:
    explicit UsageFormatter(const char* usage) : usage_(usage) {}
    std::string make_usage(const CLI::App*, std::string) const override { return usage_; }

private:
    const char* const usage_;
};

// Where the name that `run` or `watch` is about stands, or the end if this is neither or has none.
Words::const_iterator findName(const Words& words) {
    if (words.empty() || (words.front() != "run" && words.front() != "watch")) {
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
        return app.get_subcommands().empty()
                   ? "a subcommand is required: run, list, mailboxes, watch or doctor"
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

void checkName(const std::string& name, const std::string& mailboxName, const char* whose) {
    if (name.empty()) {
        throw CLI::ValidationError("NAME is empty", CLI::ExitCodes::ValidationError);
    }
    if (!isMailboxName(mailboxName)) {
        throw CLI::ValidationError(std::string("NAME is too long for a ") + whose,
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
    app.footer(
        "It sees the processes of one mailbox domain: /dev/shm/itc-<uid>, or the folder that the\n"
        "environment variable ITC_DOMAIN names by an absolute path.");

    CLI::App* run = app.add_subcommand("run", "Run a command and show its output as it comes");
    run->formatter(
        std::make_shared<UsageFormatter>("Usage: rci run [OPTIONS] [--] NAME [ARG...]\n"));
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
    list->add_flag("--json", listRequest.asJson, kJsonHelp);
    list->footer(
        "A command that its service has withdrawn stays listed until the service ends.\n"
        "\n"
        "Exit codes:\n"
        "  0    the list is complete, even if it is empty\n"
        "  125  rci was used wrongly or could not do its part");

    MailboxesRequest mailboxesRequest;
    CLI::App* mailboxes =
        app.add_subcommand("mailboxes", "List all mailboxes and what waits in them");
    mailboxes->add_flag("--json", mailboxesRequest.asJson, kJsonHelp);
    mailboxes->footer(
        "QUEUED messages of BYTES wait in a mailbox now, MOST is the most that ever did.\n"
        "\n"
        "Exit codes:\n"
        "  0    the list is complete, even if it is empty\n"
        "  125  rci was used wrongly or could not do its part");

    bool watchAsJson = false;
    CLI::App* watch = app.add_subcommand("watch", "Tell when a mailbox appears and when it goes");
    watch->formatter(
        std::make_shared<UsageFormatter>("Usage: rci watch [OPTIONS] [--] NAME [OPTIONS]\n"));
    watch->add_flag("--json", watchAsJson, "Print a JSON object per line, for programs");
    watch->footer(
        "NAME is the name of a mailbox, as `rci mailboxes` shows it; the mailbox of a command is\n"
        "called \"RCI:\" and the command's name. How its process ended is not known where the\n"
        "process may not be looked at, nor, before Linux 6.15, if its parent was faster.\n"
        "\n"
        "Exit codes:\n"
        "  0    the mailbox has appeared and is gone\n"
        "  125  rci was used wrongly or could not do its part");

    DoctorRequest doctorRequest;
    CLI::App* doctor = app.add_subcommand("doctor", "Say what is wrong with the mailbox domain");
    doctor->add_flag("--json", doctorRequest.asJson, kJsonHelp);
    doctor->footer(
        "It removes what dead processes have left, as any process does that joins the domain.\n"
        "\n"
        "Exit codes:\n"
        "  0    there is no problem\n"
        "  1    there is one\n"
        "  125  rci was used wrongly or could not do its part");

    const auto name = findName(words);
    try {
        const bool hasMark = name != words.begin() && *std::prev(name) == "--";
        Words own(words.begin(), hasMark ? std::prev(name) : name);
        const bool isWatch = !words.empty() && words.front() == "watch";
        if (isWatch && name != words.end()) {
            own.insert(own.end(), std::next(name), words.end());
        }
        app.parse(reversed(own));
        if (*list) {
            return listRequest;
        }
        if (*mailboxes) {
            return mailboxesRequest;
        }
        if (*doctor) {
            return doctorRequest;
        }
        if (name == words.end()) {
            throw CLI::RequiredError("NAME");
        }
        if (*watch) {
            checkName(*name, *name, "mailbox");
            return WatchRequest{*name, watchAsJson};
        }
        checkName(*name, mailboxNameOf(*name), "command");
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
