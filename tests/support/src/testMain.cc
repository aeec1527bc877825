// The main function of every test program.
//
// Each run gets a mailbox domain of its own, so that all tests may run at the same time; a program
// that a test starts inherits it.

#include <gmock/gmock.h>

#include <stdlib.h>

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

}  // namespace

int main(int argc, char** argv) {
    const TemporaryDomain domain;
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
