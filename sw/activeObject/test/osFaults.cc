#include "osFaults.h"

#include <dlfcn.h>
#include <sched.h>
#include <sys/eventfd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <utility>

namespace OsFaults {

namespace {

struct State {
    int eventFdError = 0;
    std::optional<int> eventFdAnswer;
    std::optional<int> priority;
    int getSchedParamError = 0;
    std::optional<int> setSchedParamAnswer;
    std::atomic<int> setNameError{0};  // the tracer's threads name themselves, too
    std::function<void()> onHeldThread;
    std::vector<EventFdCall> eventFdCalls;
    std::vector<SchedulingCall> setSchedParamCalls;
};

State& state() {
    static State theState;
    return theState;
}

template <typename Function>
Function* real(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

void clear() {
    state().eventFdError = 0;
    state().eventFdAnswer.reset();
    state().priority.reset();
    state().getSchedParamError = 0;
    state().setSchedParamAnswer.reset();
    state().setNameError = 0;
    state().onHeldThread = nullptr;
    state().eventFdCalls.clear();
    state().setSchedParamCalls.clear();
}
void failEventFd(int error) {
    state().eventFdError = error;
}
void answerEventFd(int fd) {
    state().eventFdAnswer = fd;
}
void reportPriority(int priority) {
    state().priority = priority;
}
void failGetSchedParam(int error) {
    state().getSchedParamError = error;
}
void answerSetSchedParam(int error) {
    state().setSchedParamAnswer = error;
}
void failSetName(int error) {
    state().setNameError = error;
}
void whenHeldThreadIsNamed(const std::function<void()>& function) {
    state().onHeldThread = function;
}
const std::vector<EventFdCall>& eventFdCalls() {
    return state().eventFdCalls;
}
const std::vector<SchedulingCall>& setSchedParamCalls() {
    return state().setSchedParamCalls;
}

}  // namespace OsFaults

using OsFaults::real;
using OsFaults::state;

#pragma GCC visibility push(default)

extern "C" int eventfd(unsigned int initialValue, int flags) noexcept {
    state().eventFdCalls.push_back({initialValue, flags});
    if (state().eventFdError != 0) {
        errno = std::exchange(state().eventFdError, 0);
        return -1;
    }
    if (state().eventFdAnswer) {
        return *std::exchange(state().eventFdAnswer, std::nullopt);
    }
    return real<int(unsigned int, int)>("eventfd")(initialValue, flags);
}

extern "C" int pthread_getschedparam(pthread_t thread, int* policy,
                                     sched_param* parameters) noexcept {
    if (state().getSchedParamError != 0) {
        return state().getSchedParamError;
    }
    const int result = real<int(pthread_t, int*, sched_param*)>("pthread_getschedparam")(
        thread, policy, parameters);
    if (state().priority) {
        parameters->sched_priority = *state().priority;
    }
    return result;
}

extern "C" int pthread_setschedparam(pthread_t thread, int policy,
                                     const sched_param* parameters) noexcept {
    state().setSchedParamCalls.push_back({thread, policy, parameters->sched_priority});
    if (state().setSchedParamAnswer) {
        return *state().setSchedParamAnswer;
    }
    return real<int(pthread_t, int, const sched_param*)>("pthread_setschedparam")(thread, policy,
                                                                                  parameters);
}

extern "C" int pthread_setname_np(pthread_t thread, const char* name) noexcept {
    if (strcmp(name, OsFaults::kHeldThread) == 0 && state().onHeldThread) {
        state().onHeldThread();
    }
    const int error = state().setNameError;
    if (error != 0) {
        return error;
    }
    return real<int(pthread_t, const char*)>("pthread_setname_np")(thread, name);
}

#pragma GCC visibility pop
