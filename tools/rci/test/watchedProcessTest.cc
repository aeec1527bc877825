#include "watchedProcess.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

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

TEST(WatchedProcess, ItsStatusIsUnknownOnceItsParentHasTakenIt) {
    const pid_t child = startChild();
    const WatchedProcess process(child);
    ASSERT_EQ(kill(child, SIGKILL), 0);
    EXPECT_EQ(waitpid(child, nullptr, 0), child);

    EXPECT_EQ(process.endStatus(), std::nullopt);
}

TEST(WatchedProcess, AProcessThatIsNotThereHasNoStatus) {
    const pid_t child = startChild();
    kill(child, SIGKILL);
    EXPECT_EQ(waitpid(child, nullptr, 0), child);

    EXPECT_EQ(WatchedProcess(child).endStatus(), std::nullopt);
}

}  // namespace
