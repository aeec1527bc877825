#include "childProcess.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <system_error>

namespace {

void check(int error, const std::string& what) {
    if (error != 0) {
        throw std::system_error(error, std::system_category(), what);
    }
}

int toExitStatus(int status) {
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

std::vector<char*> nullTerminated(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (std::string& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

class FileActions {
public:
    FileActions() { check(posix_spawn_file_actions_init(&actions_), "file actions"); }
    ~FileActions() {
        // Frees memory only.
        static_cast<void>(posix_spawn_file_actions_destroy(&actions_));
    }
    FileActions(const FileActions&) = delete;
    FileActions& operator=(const FileActions&) = delete;

    void open(int fd, const char* path, int flags) {
        check(posix_spawn_file_actions_addopen(&actions_, fd, path, flags, 0600), path);
    }
    void duplicate(int from, int to) {
        check(posix_spawn_file_actions_adddup2(&actions_, from, to), "dup2");
    }
    const posix_spawn_file_actions_t* get() const { return &actions_; }

private:
    posix_spawn_file_actions_t actions_;
};

}  // namespace

Environment ownEnvironment() {
    Environment environment;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string text = *entry;
        const std::size_t equals = text.find('=');
        environment[text.substr(0, equals)] = text.substr(equals + 1);
    }
    return environment;
}

pid_t startProgram(const Command& program, const Environment& environment,
                   const std::filesystem::path& output) {
    FileActions actions;
    actions.open(STDIN_FILENO, "/dev/null", O_RDONLY);
    actions.open(STDOUT_FILENO, output.c_str(), O_WRONLY | O_CREAT | O_TRUNC);
    actions.duplicate(STDOUT_FILENO, STDERR_FILENO);
    std::vector<std::string> arguments = program;
    std::vector<std::string> variables;
    for (const auto& [name, value] : environment) {
        variables.push_back(name + '=' + value);
    }
    pid_t child = -1;
    check(posix_spawnp(&child, program.front().c_str(), actions.get(), nullptr,
                       nullTerminated(arguments).data(), nullTerminated(variables).data()),
          program.front());
    return child;
}

int awaitEnd(pid_t child) {
    int status = 0;
    while (waitpid(child, &status, 0) == -1) {
        check(errno == EINTR ? 0 : errno, "waitpid");
    }
    return toExitStatus(status);
}

bool hasEnded(pid_t child, int& status) {
    const pid_t ended = waitpid(child, &status, WNOHANG);
    check(ended == -1 ? errno : 0, "waitpid");
    status = toExitStatus(status);
    return ended == child;
}

std::string readFile(const std::filesystem::path& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}
