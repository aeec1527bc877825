// initResponderImpl.h: carries the answer of one participant to the waiting startup registry.
//
// Private header of startup.
//
// ready() may be called on any thread and at any time; all else is for the registry's thread. The
// registry and the participant share the ownership.
#ifndef QUORIA_STARTUP_INITRESPONDERIMPL_H
#define QUORIA_STARTUP_INITRESPONDERIMPL_H

#include <quoria/startup/startupParticipantIf.h>

#include <atomic>
#include <chrono>
#include <future>
#include <string>

namespace Quoria::Startup::V2 {

class InitResponderImpl : public StartupParticipantIf::InitResponderIf {
public:
    InitResponderImpl(const std::string& name,
                      const std::chrono::steady_clock::time_point& deadline);

    const std::string& name() const { return name_; }

    // Stores the answer. Throws std::future_error if there is one that wait() has not taken yet;
    // does nothing once wait() has.
    void ready(bool success) override;

    // Takes the answer. Returns false, with `success` untouched, if none has come by the deadline
    // or it was taken before.
    bool wait(bool& success);

private:
    std::string name_;
    std::chrono::steady_clock::time_point deadline_;
    std::promise<bool> promise_;
    std::future<bool> future_;  // invalid once its value is taken; ready() must not look at it
    std::atomic<bool> taken_;   // says the same to ready()
};

}  // namespace Quoria::Startup::V2

#endif
