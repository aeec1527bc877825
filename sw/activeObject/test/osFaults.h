// osFaults.h: system and threads library calls of an active object, replaced for this test program.
//
// A test arms a fault before it creates the active object whose thread will meet it, and looks at
// what was recorded once that thread has answered; nothing here is locked. Calls go to the real
// functions unless a fault is armed.
#ifndef QUORIA_ACTIVEOBJECT_TEST_OSFAULTS_H
#define QUORIA_ACTIVEOBJECT_TEST_OSFAULTS_H

#include <pthread.h>

#include <functional>
#include <optional>
#include <vector>

namespace OsFaults {

struct EventFdCall {
    unsigned int initialValue;
    int flags;
};
struct SchedulingCall {
    pthread_t thread;
    int policy;
    int priority;
};

// Disarms everything and forgets what was recorded.
void clear();

// The next eventfd() fails with that errno, or returns that descriptor.
void failEventFd(int error);
void answerEventFd(int fd);

// pthread_getschedparam() reports that priority, or fails, from now on; pthread_setschedparam()
// changes nothing and returns that error, or 0.
void reportPriority(int priority);
void failGetSchedParam(int error);
void answerSetSchedParam(int error);
void failSetName(int error);
// A thread that names itself kHeldThread calls `function` as it does so.
inline constexpr const char* kHeldThread = "held";
void whenHeldThreadIsNamed(const std::function<void()>& function);

const std::vector<EventFdCall>& eventFdCalls();
const std::vector<SchedulingCall>& setSchedParamCalls();

}  // namespace OsFaults

#endif
