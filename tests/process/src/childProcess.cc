#include <quoriaTest/childProcess.h>

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <system_error>
#include <utility>

namespace QuoriaTest {

namespace {

void check(int error, const char* what) {
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), what);
    }
}

void checkErrno(int result, const char* what) {
    check(result == -1 ? errno : 0, what);
}

struct Pipe {
    Pipe() {
        int ends[2];
        checkErrno(pipe2(ends, O_CLOEXEC), "pipe2");
        readEnd = ends[0];
        writeEnd = ends[1];
    }
    int readEnd;
    int writeEnd;
};

class FileActions {
public:
    FileActions() { check(posix_spawn_file_actions_init(&actions_), "file_actions_init"); }
    ~FileActions() { posix_spawn_file_actions_destroy(&actions_); }
    FileActions(const FileActions&) = delete;
    FileActions& operator=(const FileActions&) = delete;

    void duplicate(int from, int to) {
        check(posix_spawn_file_actions_adddup2(&actions_, from, to), "adddup2");
    }
    void open(const std::string& path, int to) {
        check(
            posix_spawn_file_actions_addopen(&actions_, to, path.c_str(), O_WRONLY | O_CREAT, 0600),
            "addopen");
    }
    void close(int fd) { check(posix_spawn_file_actions_addclose(&actions_, fd), "addclose"); }

    const posix_spawn_file_actions_t* get() const { return &actions_; }

private:
    posix_spawn_file_actions_t actions_;
};

// All signals unblocked and at their default actions, whatever the test's caller has set.
class PlainSignals {
public:
    PlainSignals() {
        check(posix_spawnattr_init(&attributes_), "spawnattr_init");
        sigset_t set;
        sigemptyset(&set);
        check(posix_spawnattr_setsigmask(&attributes_, &set), "setsigmask");
        sigfillset(&set);
        check(posix_spawnattr_setsigdefault(&attributes_, &set), "setsigdefault");
        check(
            posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF),
            "setflags");
    }
    ~PlainSignals() { posix_spawnattr_destroy(&attributes_); }
    PlainSignals(const PlainSignals&) = delete;
    PlainSignals& operator=(const PlainSignals&) = delete;

    const posix_spawnattr_t* get() const { return &attributes_; }

private:
    posix_spawnattr_t attributes_;
};

std::vector<char*> pointersTo(const std::vector<std::string>& words) {
    std::vector<char*> pointers;
    pointers.reserve(words.size() + 1);
    for (const std::string& word : words) {
        pointers.push_back(const_cast<char*>(word.c_str()));
    }
    pointers.push_back(nullptr);
    return pointers;
}

std::string_view nameOf(std::string_view variable) {
    return variable.substr(0, variable.find('='));
}

// Each variable once: of two, programs take the first and shells the last.
std::vector<std::string> withOwnEnvironment(const std::vector<std::string>& additions) {
    std::vector<std::string> environment = additions;
    for (char** variable = environ; *variable != nullptr; ++variable) {
        const auto isSame = [name = nameOf(*variable)](const std::string& addition) {
            return nameOf(addition) == name;
        };
        if (std::none_of(additions.begin(), additions.end(), isSame)) {
            environment.emplace_back(*variable);
        }
    }
    return environment;
}

// Appends what can be read, after waiting for it; returns false at the end of the stream.
bool readMore(int fd, std::string& text) {
    char buffer[65536];
    ssize_t size = 0;
    do {
        size = read(fd, buffer, sizeof buffer);
    } while (size == -1 && errno == EINTR);
    checkErrno(size == -1 ? -1 : 0, "read");
    text.append(buffer, static_cast<std::size_t>(size));
    return size > 0;
}

void closeIfOpen(int& fd) {
    if (fd != -1) {
        close(fd);
        fd = -1;
    }
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& words)
    : ChildProcess(words, Options()) {}

ChildProcess::ChildProcess(const std::vector<std::string>& words, const Options& options) {
    const Pipe input;
    const Pipe output;
    const Pipe error;
    if (options.outputIsNonBlocking) {
        checkErrno(fcntl(output.writeEnd, F_SETFL, O_NONBLOCK), "O_NONBLOCK");
    }
    FileActions actions;
    actions.duplicate(input.readEnd, STDIN_FILENO);
    if (options.outputIsClosed) {
        actions.close(STDOUT_FILENO);
    } else if (!options.output.empty()) {
        actions.open(options.output, STDOUT_FILENO);
    } else {
        actions.duplicate(output.writeEnd, STDOUT_FILENO);
    }
    actions.duplicate(options.errorJoinsOutput ? STDOUT_FILENO : error.writeEnd, STDERR_FILENO);
    const PlainSignals signals;
    const std::vector<std::string> environment = withOwnEnvironment(options.environment);
    check(posix_spawnp(&pid_, words[0].c_str(), actions.get(), signals.get(),
                       pointersTo(words).data(), pointersTo(environment).data()),
          words[0].c_str());
    close(input.readEnd);
    close(output.writeEnd);
    close(error.writeEnd);
    input_ = input.writeEnd;
    output_ = output.readEnd;
    error_ = error.readEnd;
}

ChildProcess::~ChildProcess() {
    if (!isReaped_) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    closeIfOpen(input_);
    closeIfOpen(output_);
    closeIfOpen(error_);
}

void ChildProcess::write(std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = ::write(input_, text.data(), text.size());
        checkErrno(written == -1 ? -1 : 0, "write");
        text.remove_prefix(static_cast<std::size_t>(written));
    }
}

std::string ChildProcess::readOutputUntil(std::string_view mark) {
    std::size_t found = unread_.find(mark);
    while (found == std::string::npos && readMore(output_, unread_)) {
        found = unread_.find(mark);
    }
    const std::size_t end = found == std::string::npos ? unread_.size() : found + mark.size();
    std::string text = unread_.substr(0, end);
    unread_.erase(0, end);
    return text;
}

std::string ChildProcess::readOutputToEnd() {
    while (readMore(output_, unread_)) {
    }
    return std::exchange(unread_, {});
}

std::string ChildProcess::readErrorToEnd() {
    std::string text;
    while (readMore(error_, text)) {
    }
    return text;
}

void ChildProcess::closeOutput() {
    closeIfOpen(output_);
}

void ChildProcess::sendSignal(int number) {
    checkErrno(kill(pid_, number), "kill");
}

bool ChildProcess::hasEnded() {
    reap(WNOHANG);
    return isReaped_;
}

int ChildProcess::wait() {
    reap(0);
    return WIFSIGNALED(status_) ? -WTERMSIG(status_) : WEXITSTATUS(status_);
}

void ChildProcess::reap(int flags) {
    if (isReaped_) {
        return;
    }
    pid_t result = -1;
    do {
        result = waitpid(pid_, &status_, flags);
    } while (result == -1 && errno == EINTR);
    checkErrno(result, "waitpid");
    isReaped_ = result == pid_;
}

Outcome runToEnd(const std::vector<std::string>& words, const ChildProcess::Options& options) {
    ChildProcess child(words, options);
    Outcome outcome{0, child.readOutputToEnd(), ""};
    outcome.error = child.readErrorToEnd();
    outcome.exitCode = child.wait();
    return outcome;
}

}  // namespace QuoriaTest
