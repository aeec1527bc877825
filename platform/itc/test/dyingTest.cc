// Processes that are about to end: the kernel closes their descriptors one after the other.

#include "childProcess.h"
#include "itcFixture.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include <unistd.h>

using namespace ItcTest;

namespace {

// Closes the FIFO that hangs up for those who follow this process, and keeps its lock.
void closeLife() {
    int life = -1;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code ignored;  // the descriptor of this walk is in it, and gone after it
        if (std::filesystem::read_symlink(entry, ignored).filename() == "life") {
            life = std::stoi(entry.path().filename());
        }
    }
    CHILD_CHECK(life >= 0 && close(life) == 0);
}

// Whoever begins to follow it then would follow something that never hangs up.
TEST(DyingProcess, IsGoneForAMonitorThatComesBetweenItsLifeAndItsLock) {
    const OwnMailbox mine;
    ChildProcess dying([](Channel& test) {
        const OwnMailbox its("dying");
        test.put(its.id());
        test.get();
        closeLife();
        test.put(0);
        test.get();
        return kDone;
    });
    const itc_mbox_id_t its = dying.get();
    dying.put(0);
    dying.get();
    ASSERT_EQ(itc_locate("dying"), its);
    monitor(its, 7);
    EXPECT_EQ(nextNumber(), 7U);
    EXPECT_EQ(itc_locate("dying"), ITC_NO_MAILBOX);
    dying.kill();
    EXPECT_EQ(nextNumber(), kNoNumber);
}

}  // namespace
