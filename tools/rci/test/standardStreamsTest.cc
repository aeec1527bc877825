#include "standardStreams.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>

namespace {

// Closes a standard stream of the test for as long as it lives.
class ClosedStream {
public:
    explicit ClosedStream(int fd) : fd_(fd), saved_(fcntl(fd, F_DUPFD_CLOEXEC, 10)) { close(fd); }
    ~ClosedStream() {
        dup2(saved_, fd_);
        close(saved_);
    }
    ClosedStream(const ClosedStream&) = delete;
    ClosedStream& operator=(const ClosedStream&) = delete;

private:
    const int fd_;
    const int saved_;
};

TEST(StandardStreams, AClosedOneDoesNotLendItsNumberToAnotherFile) {
    int next = -1;
    int writeError = 0;
    {
        const ClosedStream output(STDOUT_FILENO);
        Rci::prepareStandardStreams();
        next = open("/dev/null", O_WRONLY | O_CLOEXEC);
        try {
            Rci::writeOutput("text");
        } catch (const Rci::OutputFailed& failure) {
            writeError = failure.code().value();
        }
    }

    EXPECT_GT(next, STDERR_FILENO);
    EXPECT_EQ(writeError, EBADF);
    close(next);
}

TEST(StandardStreams, OpenOnesAreLeftAsTheyAre) {
    Rci::prepareStandardStreams();

    EXPECT_NO_THROW(Rci::writeOutput("")) << "nothing to write";
    EXPECT_NE(fcntl(STDOUT_FILENO, F_GETFL) & O_ACCMODE, O_RDONLY);
}

}  // namespace
