// steppedProcess.h: a process that is stopped, and killed, at any point of an operation.
//
// Private header of platform/itc's tests.
//
// Processes that do the same find their code at the same addresses, as they are forks of one. So
// one of them is stepped through the operation to learn its instructions, and the others run to
// one each.
#ifndef ITC_TEST_STEPPEDPROCESS_H
#define ITC_TEST_STEPPEDPROCESS_H

#include "childProcess.h"

#include <cstdint>
#include <functional>
#include <vector>

namespace ItcTest {

// What the child does: a preparation at its own pace, which returns the operation to step through.
using Operation = std::function<void()>;
using Preparation = std::function<Operation(Channel&)>;

class SteppedProcess {
public:
    // Single steps are for processors on which they disturb no atomic operation.
    static constexpr bool canStep() {
#if defined(__x86_64__)
        return true;
#else
        return false;
#endif
    }

    // In the child, by a preparation that includes the operation and returns none: it begins here.
    static void begin();

    // The thread that is stepped. One of its own ends after the operation, and its end belongs to
    // that; the process goes on.
    enum class Steps { kProcess, kThread };

    // `meet` is the test's side of the preparation.
    explicit SteppedProcess(const Preparation& prepare,
                            const std::function<void(ChildProcess&)>& meet = {},
                            Steps steps = Steps::kProcess);
    ~SteppedProcess() {
        kill();
    }
    SteppedProcess(const SteppedProcess&) = delete;
    SteppedProcess& operator=(const SteppedProcess&) = delete;

    // Runs the operation to its end and returns the address of every instruction in turn.
    std::vector<std::uintptr_t> traceToEnd();
    // Stops ahead of the instruction when it comes for the n-th time, from 1; at the end of the
    // operation if it does not.
    void runTo(std::uintptr_t instruction, std::uint32_t nth);
    // Stops at the n-th entry or return of a system call, from 1. Returns false if there are not so
    // many: the operation is at its end, which may be that of the process.
    bool runToSystemCall(std::uint32_t nth);

    void kill();

private:
    enum class Stop { kStep, kEnd };

    Stop resume(int request);
    Stop pass(std::uintptr_t instruction);

    ChildProcess child_;
    pid_t stepped_ = -1;  // thread
};

}  // namespace ItcTest

#endif
