// startupParticipantIf.h: what a component of a process is to the startup registry.
//
// Public header.
//
// Components implement one of two generations: V1 if there is nothing to prepare, V2 if the
// initialisation may fail or take time. A V1 participant is only started. A V2 participant
// is initialised first, at the same time as all others of its generation, and answers whether that
// has worked; only if all of them have answered so in time, anybody is started.
//
// The registry creates the participants through the creators that it was given (startupRegistrar.h)
// and shares their ownership until the process ends. It calls them on the thread that starts the
// process (startupRegistryIf.h), one call at a time. What they throw passes through to its caller
// there and ends the startup.
#ifndef QUORIA_STARTUP_STARTUPPARTICIPANTIF_H
#define QUORIA_STARTUP_STARTUPPARTICIPANTIF_H

#include <quoria/util/export.h>

#include <memory>
#include <string>

namespace Quoria::Startup::V1 {

class QUORIA_EXPORT StartupParticipantIf {
public:
    StartupParticipantIf(const StartupParticipantIf&) = delete;
    StartupParticipantIf& operator=(const StartupParticipantIf&) = delete;

    // Starts the component, right after it was created.
    // Thread: owner
    virtual void start() = 0;

    virtual ~StartupParticipantIf();

protected:
    StartupParticipantIf() = default;
};

}  // namespace Quoria::Startup::V1

namespace Quoria::Startup::V2 {

class QUORIA_EXPORT StartupParticipantIf {
public:
    class QUORIA_EXPORT InitResponderIf {
    public:
        InitResponderIf(const InitResponderIf&) = delete;
        InitResponderIf& operator=(const InitResponderIf&) = delete;

        // Answers whether the initialisation has succeeded. The caller holds a std::shared_ptr to
        // the responder until the call returns. To be called once: a second answer throws
        // std::future_error unless the first one has been taken up meanwhile. An answer that comes
        // when the registry has given up, or has taken one up, changes nothing.
        // Thread: any
        virtual void ready(bool success) = 0;

        virtual ~InitResponderIf();

    protected:
        InitResponderIf() = default;
    };

    StartupParticipantIf(const StartupParticipantIf&) = delete;
    StartupParticipantIf& operator=(const StartupParticipantIf&) = delete;

    // Begins the initialisation. The participant calls responder->ready(), either before it returns
    // or later on any thread, but before the deadline of the startup; it may keep the responder for
    // that, as long as it likes. Other participants are initialised only when this has returned, so
    // what takes long belongs elsewhere.
    // Thread: owner
    virtual void init(const std::shared_ptr<InitResponderIf>& responder) = 0;

    // Starts the component, after all V2 participants have initialised and all V1 participants have
    // been started. Thread: owner
    virtual void start() = 0;

    // Returns the participant's name, for trace events.
    // Thread: owner
    virtual std::string getName() = 0;

    virtual ~StartupParticipantIf();

protected:
    StartupParticipantIf() = default;
};

}  // namespace Quoria::Startup::V2

#endif
