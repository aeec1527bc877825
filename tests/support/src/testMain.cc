// The main function of every test program.
//
// Each run gets a mailbox domain of its own, so that all tests may run at the same time; a program
// that a test starts inherits it.
//
// With QUORIA_TEST_FORK in the environment, each test runs in a process that is forked for it, much
// as CTest would start one. Under valgrind, where a start takes a second, a fork is faster by far.

#include <gmock/gmock.h>

#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <iostream>
#include <string>

namespace {

class TemporaryDomain {
public:
    TemporaryDomain() {
        std::string pattern = "/dev/shm/quoria-test-XXXXXX";
        if (mkdtemp(pattern.data()) == nullptr || setenv("ITC_DOMAIN", pattern.c_str(), 1) != 0) {
            std::cerr << "no domain for the test: "
                      << std::error_code(errno, std::system_category()) << std::endl;
            exit(EXIT_FAILURE);
        }
        path_ = pattern;
    }
    ~TemporaryDomain() {
        std::error_code ignored;  // what a killed child left behind may vanish while we look
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryDomain(const TemporaryDomain&) = delete;
    TemporaryDomain& operator=(const TemporaryDomain&) = delete;

private:
    std::string path_;
};

// What a process returns that had no test left to run.
constexpr int NO_TEST_LEFT = 77;

int runTests() {
    const TemporaryDomain domain;
    return RUN_ALL_TESTS();
}

// The test is chosen as one of as many shards as there are tests, each of which holds one then.
int runOneTest(int index) {
    unsetenv("QUORIA_TEST_FORK");  // what the test starts does as ever
    setenv("GTEST_TOTAL_SHARDS",
           std::to_string(testing::UnitTest::GetInstance()->total_test_count()).c_str(), 1);
    setenv("GTEST_SHARD_INDEX", std::to_string(index).c_str(), 1);
    const int result = runTests();
    return testing::UnitTest::GetInstance()->test_to_run_count() == 0 ? NO_TEST_LEFT : result;
}

int runEachTestInAFork() {
    const int count = testing::UnitTest::GetInstance()->total_test_count();
    int passed = 0;
    int failed = 0;
    for (int index = 0; index < count; ++index) {
        const pid_t child = fork();
        if (child == 0) {
            const int result = runOneTest(index);
            std::cout.flush();
            std::fflush(nullptr);
            // At an orderly exit the tracer would cancel its threads, which are the parent's.
            _exit(result);
        }
        int status = 0;
        if (child == -1 || waitpid(child, &status, 0) != child) {
            std::cerr << "no process for a test" << std::endl;
            return EXIT_FAILURE;
        }
        if (WIFEXITED(status) && WEXITSTATUS(status) == NO_TEST_LEFT) {
            break;
        }
        (status == 0 ? passed : failed) += 1;
    }
    std::cout << "forked tests: " << passed << " passed, " << failed << " failed" << std::endl;
    return failed == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace

int main(int argc, char** argv) {
    testing::InitGoogleMock(&argc, argv);
    return getenv("QUORIA_TEST_FORK") == nullptr ? runTests() : runEachTestInAFork();
}
