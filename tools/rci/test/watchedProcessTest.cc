#include "watchedProcess.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/utsname.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>

namespace {

using Rci::WatchedProcess;

// A child that does nothing until it is killed.
pid_t startChild() {
    const pid_t child = fork();
    if (child == 0) {
        for (;;) {
            pause();
        }
    }
    return child;
}

TEST(WatchedProcess, ItsStatusIsThatWhichItsParentWillGet) {
    const pid_t child = startChild();
    const WatchedProcess process(child);
    ASSERT_EQ(kill(child, SIGKILL), 0);

    const std::optional<int> seen = process.endStatus();

    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(seen, status);
}

// Linux 6.15 keeps it for those who hold on to the process.
bool keepsStatus() {
    utsname system = {};
    int major = 0;
    int minor = 0;
    return uname(&system) == 0 && std::sscanf(system.release, "%d.%d", &major, &minor) == 2 &&
           (major > 6 || (major == 6 && minor >= 15));
}

TEST(WatchedProcess, ItsStatusIsKnownOnceItsParentHasTakenItIfTheKernelKeepsIt) {
    const pid_t child = startChild();
    const WatchedProcess process(child);
    ASSERT_EQ(kill(child, SIGKILL), 0);
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);

    EXPECT_EQ(process.endStatus(), keepsStatus() ? std::make_optional(status) : std::nullopt);
}

TEST(WatchedProcess, AProcessThatIsNotThereHasNoStatus) {
    const pid_t child = startChild();
    kill(child, SIGKILL);
    EXPECT_EQ(waitpid(child, nullptr, 0), child);

    EXPECT_EQ(WatchedProcess(child).endStatus(), std::nullopt);
}

}  // namespace
