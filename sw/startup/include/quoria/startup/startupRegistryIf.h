// startupRegistryIf.h: creates, initialises and starts the components of a process.
//
// Public header.
//
// There is one registry per process; its owner is the thread that starts the participants, the main
// thread as a rule. Components register creators with it, mostly during static
// initialisation (startupRegistrar.h); the main thread then starts them all with one call. Nothing
// is locked: registrations and starts must not come at the same time. Creators and participants may
// register further creators, though; one that is registered before the participants of its
// generation have all been created has its turn in the same startup.
//
// Steps of a startup:
//   1. each V2 participant in the order of registration: create it, ask it for its name, call
//   init()
//   2. each V2 participant in the same order: wait for its answer, no longer than until its
//   deadline
//   3. give up here unless all of them have answered that they succeeded
//   4. each V1 participant in the order of registration: create it, call start()
//   5. each V2 participant in the order of registration: call start()
//
// TRACE1 events tell of each participant that is initialised or started, INFO events of each that
// fails.
#ifndef QUORIA_STARTUP_STARTUPREGISTRYIF_H
#define QUORIA_STARTUP_STARTUPREGISTRYIF_H

#include <quoria/startup/startupParticipantIf.h>
#include <quoria/util/export.h>

#include <chrono>
#include <functional>
#include <memory>

namespace Quoria::StartupRegistry::V1 {

class StartupRegistryImpl;

class QUORIA_EXPORT StartupRegistryIf {
public:
    // Returns the process's registry, made by the first call, which may come as early as in static
    // initialisation. It goes at the exit of the process, with all creators and its share of the
    // participants, and must not be used after that: static objects that were there before the
    // first call must not call it as they go.
    // Thread: any
    static StartupRegistryIf& getInstance();

    StartupRegistryIf(const StartupRegistryIf&) = delete;
    StartupRegistryIf& operator=(const StartupRegistryIf&) = delete;

    // Registers a creator of V1 participants. It is copied, and called once per startup. An empty
    // creator throws std::bad_function_call when its turn comes; one that returns no participant
    // makes the startup fail, but the others are started all the same.
    // Thread: owner
    void registerParticipantCreator(
        const std::function<std::shared_ptr<Startup::V1::StartupParticipantIf>()>& creator);

    // Registers a creator of V2 participants. It is copied, and called once per startup. An empty
    // creator throws std::bad_function_call when its turn comes; one that returns no participant
    // makes the startup fail like a participant that does not initialise.
    // Thread: owner
    void registerParticipantCreator(
        const std::function<std::shared_ptr<Startup::V2::StartupParticipantIf>()>& creator);

    // Runs the steps above. Each V2 participant has `timeout` to answer, from when its own init()
    // is called; an answer that is there when the registry comes to wait for it is in time even so.
    // With a timeout of zero or less, only such answers count. Returns true when all has gone well;
    // false when a V2 participant has failed or not answered in time (nobody is started then) or a
    // creator returned no participant. Participants stay with the registry either way. What
    // creators and participants throw passes through and leaves the startup where it is.
    //
    // Each call creates new participants from all creators, and starts the V2 participants of
    // earlier calls again; a process calls this once.
    // Thread: owner; waits
    bool startAllParticipants(const std::chrono::seconds& timeout);

    // The same with a timeout of 60 seconds, and without a verdict.
    // Thread: owner; waits
    void startParticipants();

private:
    StartupRegistryIf();
    ~StartupRegistryIf();

    const std::unique_ptr<StartupRegistryImpl> impl_;
};

}  // namespace Quoria::StartupRegistry::V1

#endif
