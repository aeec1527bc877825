#include "steppedProcess.h"

#include <csignal>
#include <stdexcept>
#include <thread>

#include <sys/ptrace.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

namespace ItcTest {

namespace {

// Stops of this kind enclose the operation; a step ends with SIGTRAP.
constexpr int kMark = SIGSTOP;
constexpr int kEnded = 0;

void run(const Preparation& prepare, Channel& test) {
    if (const Operation operation = prepare(test); operation) {
        SteppedProcess::begin();
        operation();
    }
}

int runStepped(const Preparation& prepare, Channel& test) {
    CHILD_CHECK(ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0);
    run(prepare, test);
    raise(kMark);
    return kDone;
}

int runSteppedThread(const Preparation& prepare, Channel& test) {
    std::thread([&] {
        CHILD_CHECK(ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0);
        test.put(static_cast<std::uint32_t>(gettid()));
        run(prepare, test);
    }).join();
    test.get();  // until it is killed
    return kDone;
}

// Returns the signal that the thread has stopped with, or kEnded; then it is not reaped.
int waitForStop(pid_t thread) {
    siginfo_t state = {};
    const auto id = static_cast<id_t>(thread);
    if (waitid(P_PID, id, &state, WEXITED | WSTOPPED | WNOWAIT | __WALL) != 0) {
        throw std::runtime_error("a stepped process is not there");
    }
    if (state.si_code == CLD_EXITED && state.si_status == kDone) {
        return kEnded;
    }
    if (state.si_code != CLD_TRAPPED && state.si_code != CLD_STOPPED) {
        throw std::runtime_error("a stepped process has failed");
    }
    int status = 0;
    waitpid(thread, &status, __WALL);  // it has just been seen
    return WSTOPSIG(status);
}

#if defined(__x86_64__)

std::uintptr_t nextInstruction(pid_t pid) {
    user_regs_struct registers = {};
    ptrace(PTRACE_GETREGS, pid, nullptr, &registers);
    return registers.rip;
}

// Replaces the first byte of an instruction by the one that traps, for as long as this lives.
class Breakpoint {
public:
    Breakpoint(pid_t pid, std::uintptr_t instruction)
        : pid_(pid),
          instruction_(instruction),
          original_(ptrace(PTRACE_PEEKTEXT, pid, instruction, nullptr)) {
        ptrace(PTRACE_POKETEXT, pid_, instruction_, (original_ & ~0xFFL) | 0xCC);
    }
    ~Breakpoint() { ptrace(PTRACE_POKETEXT, pid_, instruction_, original_); }
    Breakpoint(const Breakpoint&) = delete;
    Breakpoint& operator=(const Breakpoint&) = delete;

    // The trap has been executed in place of the instruction.
    void stepBack() const {
        user_regs_struct registers = {};
        ptrace(PTRACE_GETREGS, pid_, nullptr, &registers);
        registers.rip = instruction_;
        ptrace(PTRACE_SETREGS, pid_, nullptr, &registers);
    }

private:
    const pid_t pid_;
    const std::uintptr_t instruction_;
    const long original_;
};

#endif

}  // namespace

void SteppedProcess::begin() {
    raise(kMark);
}

SteppedProcess::SteppedProcess(const Preparation& prepare,
                               const std::function<void(ChildProcess&)>& meet, Steps steps)
    : child_([&prepare, steps](Channel& test) {
          return steps == Steps::kThread ? runSteppedThread(prepare, test)
                                         : runStepped(prepare, test);
      }) {
    stepped_ = steps == Steps::kThread ? static_cast<pid_t>(child_.get()) : child_.pid();
    if (meet) {
        meet(child_);
    }
    waitForStop(stepped_);
}

// Of a process only the threads that are stepped must be reaped one by one, and before it.
void SteppedProcess::kill() {
    const pid_t process = child_.pid();
    if (process < 0) {
        return;
    }
    if (stepped_ != process) {
        child_.killAndLeaveZombie();
        int status = 0;
        while (waitpid(stepped_, &status, __WALL) == stepped_ && WIFSTOPPED(status)) {
        }
    }
    child_.kill();
}

SteppedProcess::Stop SteppedProcess::resume(int request) {
    ptrace(static_cast<__ptrace_request>(request), stepped_, nullptr, nullptr);
    const int signal = waitForStop(stepped_);
    return signal == kMark || signal == kEnded ? Stop::kEnd : Stop::kStep;
}

bool SteppedProcess::runToSystemCall(std::uint32_t nth) {
    for (std::uint32_t count = 0; count < nth; ++count) {
        if (resume(PTRACE_SYSCALL) == Stop::kEnd) {
            return false;
        }
    }
    return true;
}

#if defined(__x86_64__)

// An instruction that repeats itself, as one that copies memory does, counts once.
SteppedProcess::Stop SteppedProcess::pass(std::uintptr_t instruction) {
    Stop stop = Stop::kStep;
    do {
        stop = resume(PTRACE_SINGLESTEP);
    } while (stop == Stop::kStep && nextInstruction(stepped_) == instruction);
    return stop;
}

std::vector<std::uintptr_t> SteppedProcess::traceToEnd() {
    std::vector<std::uintptr_t> instructions;
    do {
        instructions.push_back(nextInstruction(stepped_));
    } while (pass(instructions.back()) == Stop::kStep);
    return instructions;
}

void SteppedProcess::runTo(std::uintptr_t instruction, std::uint32_t nth) {
    for (std::uint32_t count = 0; count < nth; ++count) {
        if (nextInstruction(stepped_) == instruction &&
            (count > 0 && pass(instruction) == Stop::kEnd)) {
            return;
        }
        if (nextInstruction(stepped_) != instruction) {
            const Breakpoint breakpoint(stepped_, instruction);
            if (resume(PTRACE_CONT) == Stop::kEnd) {
                return;
            }
            breakpoint.stepBack();
        }
    }
}

#else

std::vector<std::uintptr_t> SteppedProcess::traceToEnd() {
    return {};
}

void SteppedProcess::runTo(std::uintptr_t, std::uint32_t) {}

#endif

}  // namespace ItcTest
