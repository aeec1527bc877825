#include "crew.h"

#include "contender.h"

#include <cstdio>
#include <cstdlib>

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Bench {

Gate::Gate() {
    need(pipe2(ends_, O_CLOEXEC), "pipe2");
}

void Gate::pass() {
    char token = 0;
    if (read(ends_[0], &token, 1) != 1) {
        failWithErrno("read");
    }
}

void Gate::letThrough(unsigned number) {
    const std::vector<char> tokens(number);
    if (write(ends_[1], tokens.data(), number) != static_cast<ssize_t>(number)) {
        failWithErrno("write");
    }
}

Crew::Crew(unsigned number, bool asThreads, const std::function<void()>& work) {
    for (unsigned index = 0; index < number; ++index) {
        if (asThreads) {
            threads_.emplace_back(work);
            continue;
        }
        const pid_t process = need(fork(), "fork");
        if (process == 0) {
            need(prctl(PR_SET_PDEATHSIG, SIGKILL), "prctl");
            work();
            std::fflush(stdout);
            std::_Exit(EXIT_SUCCESS);
        }
        processes_.push_back(process);
    }
}

void Crew::join() {
    for (std::thread& thread : threads_) {
        thread.join();
    }
    for (const pid_t process : processes_) {
        int status = 0;
        need(waitpid(process, &status, 0), "waitpid");
        if (status != 0) {
            fail("a process of the measurement has failed");
        }
    }
}

}  // namespace Bench
