#include "tracingSession.h"

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <thread>

namespace {

using QuoriaTest::ChildProcess;
using QuoriaTest::Outcome;

constexpr char kProvider[] = "com_talmor_pellon_quoria:";
constexpr std::chrono::milliseconds kPollInterval(20);
constexpr std::chrono::seconds kDaemonLimit(60);

std::filesystem::path makeFolder() {
    std::string path = std::filesystem::temp_directory_path() / "quoria-XXXXXX";
    if (mkdtemp(path.data()) == nullptr) {
        throw std::system_error(errno, std::system_category(), path);
    }
    return path;
}

Command operator+(Command left, const Command& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

// Without what the caller may have set for the tracer, but for which tools are its own: with those
// of another folder in the PATH goes the consumer daemon that their session daemon is to start.
int numberAfter(const std::string& key, const std::string& text, std::size_t from = 0) {
    const std::size_t found = text.find(key, from);
    if (found == std::string::npos) {
        throw std::runtime_error("the trace does not tell \"" + key + '"');
    }
    return std::stoi(text.substr(found + key.size()));
}

Command withEnvironment(const std::filesystem::path& folder) {
    Command words = {"env"};
    for (char** variable = environ; *variable != nullptr; ++variable) {
        const std::string text = *variable;
        if (text.rfind("LTTNG_", 0) == 0 && text.rfind("LTTNG_CONSUMERD", 0) != 0) {
            words = words + Command{"-u", text.substr(0, text.find('='))};
        }
    }
    return words + Command{"LTTNG_HOME=" + folder.string(),
                           "ITC_DOMAIN=" + (folder / "domain").string(),
                           "LTTNG_UST_REGISTER_TIMEOUT=-1",  // waits as long as it takes
                           "LC_ALL=C"};
}

std::string readFile(const std::filesystem::path& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

bool endsWith(const std::string& text, const std::string& end) {
    return text.size() >= end.size() &&
           text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// "[time] (+delta) host provider:NAME: { context }, { fields }"
RecordedEvent parseEvent(const std::string& line) {
    const std::size_t name = line.find(kProvider) + std::string(kProvider).size();
    const std::size_t nameEnd = line.find(": {", name);
    const std::string beforeFields = "}, { ";
    const std::size_t fields = line.find(beforeFields, nameEnd) + beforeFields.size();
    return {line.substr(name, nameEnd - name), line.substr(fields, line.size() - fields - 2)};
}

}  // namespace

TracingSession::TracingSession(const Command& selection)
    : folder_(makeFolder()), trace_(folder_ / "trace"), environment_(withEnvironment(folder_)) {
    try {
        assumeUser();
        startDaemon();
        awaitDaemon();
        lttng({"create", "test", "--output=" + trace_.string()});
        lttng(Command{"enable-event", "--userspace", std::string(kProvider) + '*'} + selection);
        lttng({"start"});
        isRecording_ = true;
    } catch (...) {
        stopDaemon();
        removeFiles();
        throw;
    }
}

TracingSession::~TracingSession() {
    stopDaemon();
    removeFiles();
}

std::string TracingSession::run(const Command& program) {
    return requireAsUser(program);
}

std::vector<RecordedEvent> TracingSession::finish() {
    lttng({"stop"});
    lttng({"destroy"});
    isRecording_ = false;
    std::istringstream lines(requireAsUser({"babeltrace2", trace_}));
    std::vector<RecordedEvent> events;
    for (std::string line; std::getline(lines, line);) {
        if (line.find(kProvider) != std::string::npos) {
            events.push_back(parseEvent(line));
        }
    }
    return events;
}

std::vector<std::pair<std::string, int>> TracingSession::logLevels() {
    const std::string text = metadata();
    const std::string name = "name = \"" + std::string(kProvider);
    std::vector<std::pair<std::string, int>> levels;
    for (std::size_t event = 0; (event = text.find(name, event)) != std::string::npos;) {
        event += name.size();
        levels.emplace_back(text.substr(event, text.find('"', event) - event),
                            numberAfter("loglevel = ", text, event));
    }
    return levels;
}

std::string TracingSession::generation() {
    const std::string text = metadata();
    return std::to_string(numberAfter("tracer_major = ", text)) + '.' +
           std::to_string(numberAfter("tracer_minor = ", text));
}

std::string TracingSession::metadata() {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(trace_)) {
        if (entry.path().filename() == "metadata") {
            return requireAsUser(
                {"babeltrace2", "--output-format=ctf-metadata", entry.path().parent_path()});
        }
    }
    throw std::runtime_error("the trace has no metadata");
}

void TracingSession::assumeUser() {
    const std::string userId = std::to_string(100000 + getpid());
    const Command mapped = {"unshare", "--user", "--map-user=" + userId, "--map-group=" + userId};
    if (execute(mapped + Command{"true"}).exitCode == 0) {
        userId_ = userId;
        asUser_ = mapped;
    } else if (geteuid() == 0) {
        userId_ = userId;
        asUser_ = {"setpriv", "--reuid=" + userId, "--regid=" + userId, "--clear-groups"};
        const auto id = static_cast<uid_t>(std::stoul(userId));
        if (chown(folder_.c_str(), id, id) != 0) {
            throw std::system_error(errno, std::system_category(), folder_);
        }
    }
}

// The daemon ends with this process, whatever ends this process.
void TracingSession::startDaemon() {
    const Command daemon = {"setpriv", "--pdeathsig", "TERM", "lttng-sessiond", "--no-kernel"};
    ChildProcess::Options options;
    options.output = folder_ / "daemon.log";
    options.errorJoinsOutput = true;
    daemon_.emplace(environment_ + asUser_ + daemon, options);
}

void TracingSession::awaitDaemon() {
    const auto limit = std::chrono::steady_clock::now() + kDaemonLimit;
    while (executeAsUser({"lttng", "--no-sessiond", "--group=none", "list"}).exitCode != 0) {
        if (daemon_->hasEnded()) {
            throw std::runtime_error("lttng-sessiond (of the package lttng-tools) did not start: " +
                                     readFile(folder_ / "daemon.log"));
        }
        if (std::chrono::steady_clock::now() > limit) {
            throw std::runtime_error("lttng-sessiond does not answer: " +
                                     readFile(folder_ / "daemon.log"));
        }
        std::this_thread::sleep_for(kPollInterval);
    }
}

void TracingSession::stopDaemon() {
    if (!daemon_ || daemon_->hasEnded()) {
        return;
    }
    // Asked to end while it records, it sometimes waits a minute for data of a process that is
    // gone.
    daemon_->sendSignal(isRecording_ ? SIGKILL : SIGTERM);
    const auto limit = std::chrono::steady_clock::now() + kDaemonLimit;
    while (!daemon_->hasEnded() && std::chrono::steady_clock::now() < limit) {
        std::this_thread::sleep_for(kPollInterval);
    }
    daemon_.reset();
}

void TracingSession::removeFiles() {
    // What can't be removed is not worth a failure.
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
    if (userId_.empty()) {
        return;
    }
    for (const auto& entry : std::filesystem::directory_iterator("/dev/shm", ignored)) {
        if (endsWith(entry.path().filename(), '-' + userId_)) {
            std::filesystem::remove(entry.path(), ignored);
        }
    }
}

Outcome TracingSession::execute(const Command& program) {
    return QuoriaTest::runToEnd(environment_ + program);
}

Outcome TracingSession::executeAsUser(const Command& program) {
    return execute(asUser_ + program);
}

std::string TracingSession::requireAsUser(const Command& program) {
    const Outcome outcome = executeAsUser(program);
    if (outcome.exitCode != 0) {
        std::ostringstream text;
        for (const std::string& word : program) {
            text << word << ' ';
        }
        text << "ended with status " << outcome.exitCode << ": " << outcome.output << outcome.error;
        throw std::runtime_error(text.str());
    }
    return outcome.output;
}

// The group is one that nobody is in, so that the tool does not turn to the daemon of user 0.
void TracingSession::lttng(const Command& arguments) {
    requireAsUser(Command{"lttng", "--no-sessiond", "--group=none"} + arguments);
}
