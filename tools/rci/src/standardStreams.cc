#include "standardStreams.h"

#include "text.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <string>

namespace Rci {

namespace {

[[noreturn]] void fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

// Waits until `fd`, which another process may have made non-blocking, takes more.
bool waitUntilWritable(int fd) {
    pollfd entry{fd, POLLOUT, 0};
    return poll(&entry, 1, -1) != -1 || errno == EINTR;
}

// Returns false, with errno set, if not all of `text` could be written.
bool writeAll(int fd, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = write(fd, text.data(), text.size());
        if (written >= 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno == EAGAIN) {
            if (!waitUntilWritable(fd)) {
                return false;
            }
        } else if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

void fillIfClosed(int fd, int unusableFlags) {
    if (fcntl(fd, F_GETFD) != -1 || errno != EBADF) {
        return;
    }
    // The lowest free number is the one just found closed: those below it are open by now.
    if (open("/dev/null", unusableFlags) != fd) {
        fail("can't open /dev/null");
    }
}

}  // namespace

void prepareStandardStreams() {
    if (signal(SIGPIPE, SIG_IGN) == SIG_ERR) {
        fail("can't ignore SIGPIPE");
    }
    fillIfClosed(STDIN_FILENO, O_WRONLY);
    fillIfClosed(STDOUT_FILENO, O_RDONLY);
    fillIfClosed(STDERR_FILENO, O_RDONLY);
}

void writeOutput(std::string_view text) {
    if (!writeAll(STDOUT_FILENO, text)) {
        throw OutputFailed(errno, std::generic_category(), "can't write to standard output");
    }
}

void complain(std::string_view text) {
    // There is nobody left to tell if this fails.
    static_cast<void>(writeAll(STDERR_FILENO, printable(text) + "\n"));
}

}  // namespace Rci
