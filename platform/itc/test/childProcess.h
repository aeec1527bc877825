// childProcess.h: a process that a test forks, talks to over a socket and ends.
//
// Private header of platform/itc's tests.
//
// Fork before the test starts threads: the child goes on with the thread that forked alone.
#ifndef ITC_TEST_CHILDPROCESS_H
#define ITC_TEST_CHILDPROCESS_H

#include <cstdint>
#include <functional>

#include <sys/types.h>

namespace ItcTest {

// How a child ends, other than by a signal.
enum ChildExit : int {
    kDone = 0,
    kCheckFailed = 71,  // a CHILD_CHECK
    kPartnerGone = 72,  // the test is not there any more
    kDidNotExec = 73,
    kKilled = 1000,  // not an exit code: what wait() returns after a signal
};

// Words between a test and its child.
class Channel {
public:
    Channel() = default;
    explicit Channel(int fd) : fd_(fd) {}
    Channel(Channel&& other) noexcept : fd_(other.fd_) { other.fd_ = -1; }
    Channel& operator=(Channel&& other) = delete;
    ~Channel();

    // Both wait; without a partner the child exits and the test fails.
    void put(std::uint32_t word);
    std::uint32_t get();
    // Whether the partner has closed its end, or has ended. Waits for a word or for that.
    bool isAtEnd();
    int fd() const { return fd_; }

private:
    int fd_ = -1;
};

class ChildProcess {
public:
    // Runs `body` in a child, which ends with its result by _exit.
    explicit ChildProcess(const std::function<int(Channel&)>& body);
    // Kills and reaps a child that is still there.
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    pid_t pid() const { return pid_; }
    void put(std::uint32_t word) { channel_.put(word); }
    std::uint32_t get() { return channel_.get(); }

    // Waits for the end and reaps. Returns the exit code, or kKilled.
    int wait();
    // Sends SIGKILL, and reaps unless it is to stay a zombie.
    void kill();
    void killAndLeaveZombie();

private:
    Channel channel_;
    pid_t pid_ = -1;
};

}  // namespace ItcTest

// In a child, where a failed EXPECT would go unnoticed.
#define CHILD_CHECK(condition)                                 \
    do {                                                       \
        if (!(condition)) {                                    \
            ::ItcTest::childCheckFailed(#condition, __LINE__); \
        }                                                      \
    } while (false)

namespace ItcTest {
[[noreturn]] void childCheckFailed(const char* condition, int line);
}

#endif
