#include "childProcess.h"

#include <itc_admin.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>

#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace ItcTest {

namespace {

bool isChild_ = false;

void partnerIsGone() {
    if (isChild_) {
        _exit(kPartnerGone);
    }
    ADD_FAILURE() << "the child process is gone";
}

}  // namespace

Channel::~Channel() {
    if (fd_ >= 0) {
        close(fd_);  // nothing is buffered in it that anyone waits for
    }
}

void Channel::put(std::uint32_t word) {
    ssize_t count = 0;
    do {
        count = ::send(fd_, &word, sizeof(word), MSG_NOSIGNAL);
    } while (count < 0 && errno == EINTR);
    if (count != sizeof(word)) {
        partnerIsGone();
    }
}

std::uint32_t Channel::get() {
    std::uint32_t word = 0;
    ssize_t count = 0;
    do {
        count = ::recv(fd_, &word, sizeof(word), MSG_WAITALL);
    } while (count < 0 && errno == EINTR);
    if (count != sizeof(word)) {
        partnerIsGone();
    }
    return word;
}

bool Channel::isAtEnd() {
    std::uint32_t word = 0;
    return ::recv(fd_, &word, sizeof(word), MSG_PEEK) == 0;
}

ChildProcess::ChildProcess(const std::function<int(Channel&)>& body) {
    int ends[2] = {-1, -1};
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
        ADD_FAILURE() << "socketpair failed: " << errno;
        return;
    }
    new (&channel_) Channel(ends[0]);
    Channel childEnd(ends[1]);
    pid_ = fork();
    if (pid_ == 0) {
        isChild_ = true;
        close(ends[0]);
        _exit(body(childEnd));
    }
    EXPECT_GT(pid_, 0) << "fork failed: " << errno;
}

ChildProcess::~ChildProcess() {
    if (pid_ > 0) {
        kill();
    }
}

int ChildProcess::wait() {
    int status = 0;
    pid_t reaped = -1;
    do {
        reaped = waitpid(pid_, &status, 0);
    } while (reaped < 0 && errno == EINTR);
    EXPECT_EQ(reaped, pid_);
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : kKilled;
}

void ChildProcess::kill() {
    killAndLeaveZombie();
    wait();
}

void ChildProcess::killAndLeaveZombie() {
    EXPECT_EQ(::kill(pid_, SIGKILL), 0);
}

void childCheckFailed(const char* condition, int line) {
    std::fprintf(stderr, "in a child process, line %d: not so: %s (\"%s\")\n", line, condition,
                 itc_error_text());
    _exit(kCheckFailed);
}

}  // namespace ItcTest
