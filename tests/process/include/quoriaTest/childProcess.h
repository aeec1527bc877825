// childProcess.h: a program that a test runs and talks to through pipes.
//
// Test support.
//
// One thread may use an object. The reads wait as long as it takes: it is CTest that ends a test
// which waits for nothing.
#ifndef QUORIATEST_CHILDPROCESS_H
#define QUORIATEST_CHILDPROCESS_H

#include <sys/types.h>

#include <string>
#include <string_view>
#include <vector>

namespace QuoriaTest {

class ChildProcess {
public:
    struct Options {
        std::string output;                    // a file for standard output instead of the pipe
        bool errorJoinsOutput = false;         // standard error goes where standard output goes
        bool outputIsClosed = false;           // no standard output at all
        bool outputIsNonBlocking = false;      // the child's end of the pipe is
        std::vector<std::string> environment;  // as in "ITC_DOMAIN=/tmp/x", besides the test's own
    };

    // Starts the program words[0], found by PATH if it is no path, with the words behind it, all
    // signals at their default actions. Throws std::system_error.
    explicit ChildProcess(const std::vector<std::string>& words);
    ChildProcess(const std::vector<std::string>& words, const Options& options);
    // Kills the child if it still runs.
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    pid_t pid() const { return pid_; }

    void write(std::string_view text);
    // What the child writes to standard output up to and with `mark`, or up to the end if that
    // never comes.
    std::string readOutputUntil(std::string_view mark);
    std::string readLine() { return readOutputUntil("\n"); }
    // The rest up to the end. Standard error must fit its pipe meanwhile.
    std::string readOutputToEnd();
    std::string readErrorToEnd();
    // Leaves the child without a reader of its standard output.
    void closeOutput();

    void sendSignal(int number);
    bool hasEnded();
    // Waits for the end and returns the exit code, or the negative number of the signal.
    int wait();

private:
    void reap(int flags);

    pid_t pid_ = -1;
    bool isReaped_ = false;
    int status_ = 0;
    int input_ = -1;
    int output_ = -1;
    int error_ = -1;
    std::string unread_;
};

// What a program has left behind.
struct Outcome {
    int exitCode;  // or the negative number of the signal
    std::string output;
    std::string error;
};

// Runs the program to its end.
Outcome runToEnd(const std::vector<std::string>& words, const ChildProcess::Options& options = {});

}  // namespace QuoriaTest

#endif
