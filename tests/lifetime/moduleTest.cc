// What is left when a module that used the library is taken out of the process.
#include <quoriaTest/childProcess.h>

#include <gmock/gmock.h>

namespace {

using QuoriaTest::Outcome;

// The threads' instances outlive the module, and the functions that destroy them are the library's.
TEST(LibraryUsedByAModule, WorksOnWhenTheModuleIsClosedAndLoadedAgain) {
    const Outcome outcome =
        QuoriaTest::runToEnd({PEER_LIFETIMELOADER, PEER_LIFETIMEMODULE, PEER_QUORIA});

    EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
    EXPECT_EQ(outcome.error, "");
}

}  // namespace
