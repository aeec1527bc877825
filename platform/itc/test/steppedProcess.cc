#include "steppedProcess.h"

#include <csignal>
#include <stdexcept>

#include <sys/ptrace.h>
#include <sys/user.h>
#include <sys/wait.h>

namespace ItcTest {

namespace {

// Stops of this kind enclose the operation; a step ends with SIGTRAP.
constexpr int kMark = SIGSTOP;

int runStepped(const Preparation& prepare, Channel& test) {
    const Operation operation = prepare(test);
    CHILD_CHECK(ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0);
    raise(kMark);
    operation();
    raise(kMark);
    return kDone;
}

// Returns the signal that the process has stopped with.
int waitForStop(pid_t pid) {
    int status = 0;
    if (waitpid(pid, &status, 0) != pid || !WIFSTOPPED(status)) {
        throw std::runtime_error("a stepped process has ended");
    }
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

SteppedProcess::SteppedProcess(const Preparation& prepare,
                               const std::function<void(ChildProcess&)>& meet)
    : child_([&prepare](Channel& test) { return runStepped(prepare, test); }) {
    if (meet) {
        meet(child_);
    }
    waitForStop(child_.pid());
}

SteppedProcess::Stop SteppedProcess::resume(int request) {
    ptrace(static_cast<__ptrace_request>(request), child_.pid(), nullptr, nullptr);
    return waitForStop(child_.pid()) == kMark ? Stop::kEnd : Stop::kStep;
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
    } while (stop == Stop::kStep && nextInstruction(child_.pid()) == instruction);
    return stop;
}

std::vector<std::uintptr_t> SteppedProcess::traceToEnd() {
    std::vector<std::uintptr_t> instructions;
    do {
        instructions.push_back(nextInstruction(child_.pid()));
    } while (pass(instructions.back()) == Stop::kStep);
    return instructions;
}

void SteppedProcess::runTo(std::uintptr_t instruction, std::uint32_t nth) {
    for (std::uint32_t count = 0; count < nth; ++count) {
        if (nextInstruction(child_.pid()) == instruction &&
            (count > 0 && pass(instruction) == Stop::kEnd)) {
            return;
        }
        if (nextInstruction(child_.pid()) != instruction) {
            const Breakpoint breakpoint(child_.pid(), instruction);
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
