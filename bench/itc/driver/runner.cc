#include "runner.h"

#include "setting.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Bench {

namespace {

// What else runs on the machine should disturb as little as can be. Only root may have it so, and
// where the kernel does not group sessions it changes nothing.
void takePrecedence() {
    setsid();
    std::ofstream("/proc/self/autogroup") << -20;
}

// A program that is started has a session of its own and does not see Ctrl-C. So the driver waits
// for its end, and only then ends itself.
class SignalsHeldBack {
public:
    SignalsHeldBack() {
        sigset_t signals;
        sigemptyset(&signals);
        sigaddset(&signals, SIGINT);
        sigaddset(&signals, SIGTERM);
        sigprocmask(SIG_BLOCK, &signals, &before_);
    }
    ~SignalsHeldBack() { release(); }
    SignalsHeldBack(const SignalsHeldBack&) = delete;
    SignalsHeldBack& operator=(const SignalsHeldBack&) = delete;
    void release() const { sigprocmask(SIG_SETMASK, &before_, nullptr); }

private:
    sigset_t before_;
};

[[noreturn]] void become(const std::string& path, const std::vector<std::string>& args, int out) {
    std::vector<char*> argv{const_cast<char*>(path.c_str())};
    for (const std::string& arg : args) {
        argv.push_back(const_cast<char*>(arg.c_str()));
    }
    argv.push_back(nullptr);
    takePrecedence();
    if (prctl(PR_SET_PDEATHSIG, SIGKILL) == 0 && dup2(out, STDOUT_FILENO) >= 0) {
        execv(path.c_str(), argv.data());
    }
    std::perror(path.c_str());
    std::_Exit(EXIT_FAILURE);
}

std::string readAll(int fd) {
    std::string text;
    char buffer[4096];
    ssize_t size = 0;
    while ((size = read(fd, buffer, sizeof buffer)) > 0 || (size < 0 && errno == EINTR)) {
        text.append(buffer, static_cast<std::size_t>(size > 0 ? size : 0));
    }
    return text;
}

bool waitFor(pid_t process) {
    int status = 0;
    while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    if (WIFSIGNALED(status)) {
        std::fprintf(stderr, "ended by signal %d\n", WTERMSIG(status));
    }
    return status == 0;
}

}  // namespace

std::vector<double> run(const std::string& path, const std::vector<std::string>& args) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        std::perror("pipe2");
        return {};
    }
    const SignalsHeldBack signals;
    const pid_t process = fork();
    if (process == 0) {
        signals.release();
        become(path, args, ends[1]);
    }
    close(ends[1]);
    std::istringstream text(readAll(ends[0]));
    close(ends[0]);
    const bool succeeded = process > 0 && waitFor(process);
    std::error_code ignored;  // as a rule there is nothing left to remove
    std::filesystem::remove_all(folderOf(process), ignored);
    if (!succeeded) {
        return {};
    }
    std::vector<double> numbers;
    for (double number = 0; text >> number;) {
        numbers.push_back(number);
    }
    return numbers;
}

}  // namespace Bench
