// tracingSession.h: a recording by a session daemon that no other test and no user shares.
//
// The daemon keeps its sockets and the trace in a temporary folder. The one of user 0 would be the
// machine's own daemon whatever the folder, so the tools and the programs traced run under a user
// id made up for the session: in a user namespace where the machine allows that, or else, started
// by user 0, as a user without privileges. Elsewhere the caller's own id will do.
//
// What can't be done throws std::runtime_error with what the tools said.
#ifndef TRACINGSESSION_H
#define TRACINGSESSION_H

#include <quoriaTest/childProcess.h>

#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

using Command = std::vector<std::string>;

struct RecordedEvent {
    std::string name;    // without the provider
    std::string fields;  // as babeltrace2 shows them, without the braces around them
};

class TracingSession {
public:
    // Starts a daemon and a recording of the provider's events. `selection` is options of lttng's
    // enable-event that leave some out.
    explicit TracingSession(const Command& selection = {});
    // Ends the daemon; a recording that is not finished is lost.
    ~TracingSession();
    TracingSession(const TracingSession&) = delete;
    TracingSession& operator=(const TracingSession&) = delete;

    // Runs a program, which waits at its start until the daemon has enabled its events, and which
    // must end with status 0. Returns what it has written to standard output. Its mailboxes are in
    // a domain of the session's own.
    std::string run(const Command& program);

    // Ends the recording and reads it, oldest event first.
    std::vector<RecordedEvent> finish();
    // The events and their log levels as a recording that is finished describes them, in its order.
    std::vector<std::pair<std::string, int>> logLevels();
    // "major.minor" of the tracer that has made a recording that is finished.
    std::string generation();

private:
    void assumeUser();
    void startDaemon();
    void awaitDaemon();
    void stopDaemon();
    void removeFiles();
    std::string metadata();
    QuoriaTest::Outcome execute(const Command& program);
    QuoriaTest::Outcome executeAsUser(const Command& program);
    std::string requireAsUser(const Command& program);
    void lttng(const Command& arguments);

    const std::filesystem::path folder_;
    const std::filesystem::path trace_;
    const Command environment_;  // what goes before a command to give it the session's variables
    std::string userId_;         // empty for the caller's own
    Command asUser_;             // what goes before a command to run it as that user
    std::optional<QuoriaTest::ChildProcess> daemon_;
    bool isRecording_ = false;
};

#endif
