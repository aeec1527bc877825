// commandLine.h: what the caller of rci wants.
//
// Private header of rci.
#ifndef RCI_COMMANDLINE_H
#define RCI_COMMANDLINE_H

#include <string>
#include <variant>
#include <vector>

namespace Rci {

struct RunRequest {
    std::string name;
    std::vector<std::string> args;
};

struct ListRequest {
    bool asJson = false;
};

struct MailboxesRequest {
    bool asJson = false;
};

struct WatchRequest {
    std::string name;
    bool asJson = false;
};

struct DoctorRequest {
    bool asJson = false;
};

// Nothing is left to be done but to say something: help, the version, or what is wrong.
struct Answer {
    std::string output;     // for standard output
    std::string complaint;  // for standard error, one line without its end
    int exitCode = 0;
};

using Request =
    std::variant<RunRequest, ListRequest, MailboxesRequest, WatchRequest, DoctorRequest, Answer>;

// Reads the words behind the program's name. Behind `run`, options of rci end at the command's
// name; that and all that follows is taken as it stands. A "--" before the name ends them too, for
// a name that begins with "-". Behind the name of `watch` options go on. A name that no command or
// mailbox can have is a wrong call.
Request parseCommandLine(const std::vector<std::string>& words);

}  // namespace Rci

#endif
