// traceCapture.h: the trace events of this process, for a test to look at.
//
// A TraceCapture enables events of the library's provider and records what they are fired with, in
// the process itself and without a tracing daemon. Threads of the process may fire events and call
// the const operations at the same time. Several captures may exist at once; each records for
// itself.
#ifndef QUORIATEST_TRACECAPTURE_H
#define QUORIATEST_TRACECAPTURE_H

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

namespace QuoriaTest {

// One event with copies of its arguments; those that the event does not have are left empty or 0.
// A null string is "(null)", as a tracer records it.
struct CapturedEvent {
    std::string name;  // without the provider, as in "ERROR"
    std::string file;
    unsigned int line = 0;
    std::string obj;
    std::string msg;
    unsigned int sigNo = 0;
    unsigned int pid = 0;
    unsigned int sec = 0;
    unsigned int usec = 0;
    std::string process;
    std::vector<std::uint8_t> data;
};

class EventProbe;

class TraceCapture {
public:
    // Enables and records all twenty events.
    TraceCapture();
    // Enables and records the events named, as in {"ERROR", "INFO"}. A name that no event has
    // throws std::invalid_argument.
    explicit TraceCapture(std::initializer_list<const char*> eventNames);
    // Ends the recording. When it returns, no thread is left inside it.
    ~TraceCapture();
    TraceCapture(const TraceCapture&) = delete;
    TraceCapture& operator=(const TraceCapture&) = delete;

    // What has been recorded so far, in the order of recording.
    std::vector<CapturedEvent> events() const;
    // The messages of that event so far, in the order of recording.
    std::vector<std::string> messages(const std::string& eventName) const;
    // How often that event has come with exactly that message.
    std::size_t count(const std::string& eventName, const std::string& msg) const;

private:
    std::vector<CapturedEvent> events_;
    std::vector<std::unique_ptr<EventProbe>> probes_;
};

}  // namespace QuoriaTest

#endif
