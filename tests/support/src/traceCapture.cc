// Probes of our own, attached to the tracepoints beside those of the provider.
//
// The tracepoint library calls every probe that is registered for an event, on the thread that
// fires it, and one registered probe is enough to enable the event. Unregistering returns when no
// thread is inside the probe any more.

#include <quoriaTest/traceCapture.h>

#include <quoria/trace/traceProvider.h>

#include <algorithm>
#include <iterator>
#include <mutex>
#include <stdexcept>
#include <utility>

#define PROVIDER "com_talmor_pellon_quoria"

// The tracepoint library's interface got new names with LTTng-UST 2.13.
#ifdef LTTNG_UST_TRACEPOINT_NAME_LEN_MAX
#define TRACEPOINT_OBJECT(event) lttng_ust_tracepoint_com_talmor_pellon_quoria___##event
#define REGISTER_PROBE(event, function, data, signature) \
    lttng_ust_tracepoint_provider_register(PROVIDER, event, function, data, signature)
#define UNREGISTER_PROBE(event, function, data) \
    lttng_ust_tracepoint_provider_unregister(PROVIDER, event, function, data)
#else
#define TRACEPOINT_OBJECT(event) __tracepoint_com_talmor_pellon_quoria___##event
#define FULL_NAME(event) (std::string(PROVIDER ":") + (event)).c_str()
#define REGISTER_PROBE(event, function, data, signature) \
    __tracepoint_probe_register(FULL_NAME(event), function, data, signature)
#define UNREGISTER_PROBE(event, function, data) \
    __tracepoint_probe_unregister(FULL_NAME(event), function, data)
#endif

// The tracepoint library protects its list of probes by read-copy-update. A thread sanitizer does
// not see that, only the list being allocated and freed while other threads read it.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_suppressions();
extern "C" const char* __tsan_default_suppressions() {
    return "called_from_lib:liblttng-ust-tracepoint.so\n";
}

namespace QuoriaTest {

namespace {

using Function = void (*)();

struct Event {
    const char* name;
    const lttng_ust_tracepoint& object;
    Function probe;
};

// Guards the events of all captures. It also hands the probes over to the threads that fire events
// and back, which the tracepoint library has done already, but unseen by a thread sanitizer.
std::mutex recording;

}  // namespace

class EventProbe {
public:
    EventProbe(std::vector<CapturedEvent>& events, const Event& event)
        : events_(events), event_(event) {
        recording.lock();
        recording.unlock();
        if (REGISTER_PROBE(event_.name, event_.probe, this, event_.object.signature) != 0) {
            throw std::runtime_error(std::string("no probe for the trace event ") + event_.name);
        }
    }
    ~EventProbe() {
        // It fails only for a probe that is not registered.
        static_cast<void>(UNREGISTER_PROBE(event_.name, event_.probe, this));
        recording.lock();
        recording.unlock();
    }
    EventProbe(const EventProbe&) = delete;
    EventProbe& operator=(const EventProbe&) = delete;

    static void record(void* probe, CapturedEvent event) {
        const std::lock_guard<std::mutex> lock(recording);
        const auto* self = static_cast<const EventProbe*>(probe);
        event.name = self->event_.name;
        self->events_.push_back(std::move(event));
    }

private:
    std::vector<CapturedEvent>& events_;
    const Event& event_;
};

namespace {

std::string text(const char* argument) {
    return argument != nullptr ? argument : "(null)";
}

std::vector<std::uint8_t> bytes(const char* data, std::size_t datalen) {
    return std::vector<std::uint8_t>(data, data + datalen);
}

CapturedEvent eventWith(const char* file, unsigned int line, const char* msg) {
    CapturedEvent event;
    event.file = text(file);
    event.line = line;
    event.msg = text(msg);
    return event;
}

void recordMessage(void* probe, const char* file, unsigned int line, const char* msg) {
    EventProbe::record(probe, eventWith(file, line, msg));
}

void recordObject(void* probe, const char* file, unsigned int line, const char* obj,
                  const char* msg) {
    CapturedEvent event = eventWith(file, line, msg);
    event.obj = text(obj);
    EventProbe::record(probe, std::move(event));
}

void recordReceived(void* probe, const char* file, unsigned int line, const char* obj,
                    unsigned int sigNo, const char* msg) {
    CapturedEvent event = eventWith(file, line, msg);
    event.obj = text(obj);
    event.sigNo = sigNo;
    EventProbe::record(probe, std::move(event));
}

void recordSent(void* probe, const char* file, unsigned int line, const char* obj,
                unsigned int sigNo, unsigned int pid, const char* msg) {
    CapturedEvent event = eventWith(file, line, msg);
    event.obj = text(obj);
    event.sigNo = sigNo;
    event.pid = pid;
    EventProbe::record(probe, std::move(event));
}

void recordData(void* probe, const char* file, unsigned int line, const char* obj, const char* msg,
                const char* data, std::size_t datalen) {
    CapturedEvent event = eventWith(file, line, msg);
    event.obj = text(obj);
    event.data = bytes(data, datalen);
    EventProbe::record(probe, std::move(event));
}

void recordTimestamped(void* probe, const char* file, unsigned int line, unsigned int sec,
                       unsigned int usec, const char* process, const char* msg, const char* data,
                       std::size_t datalen) {
    CapturedEvent event = eventWith(file, line, msg);
    event.sec = sec;
    event.usec = usec;
    event.process = text(process);
    event.data = bytes(data, datalen);
    EventProbe::record(probe, std::move(event));
}

#define EVENT(name, probe) \
    { #name, TRACEPOINT_OBJECT(name), reinterpret_cast < Function>(probe) }

const Event kEvents[] = {
    EVENT(ERROR, recordMessage),
    EVENT(INFO, recordMessage),
    EVENT(STATE_CHANGE, recordObject),
    EVENT(TRACE1, recordObject),
    EVENT(TRACE2, recordObject),
    EVENT(TRACE3, recordObject),
    EVENT(TRACE4, recordObject),
    EVENT(TRACE5, recordObject),
    EVENT(TRACE6, recordObject),
    EVENT(TRACE7, recordObject),
    EVENT(REC_SIG, recordReceived),
    EVENT(SEND_SIG, recordSent),
    EVENT(DATA, recordData),
    EVENT(TRACE_UTS1, recordTimestamped),
    EVENT(TRACE_UTS2, recordTimestamped),
    EVENT(TRACE_UTS3, recordTimestamped),
    EVENT(TRACE_UTS4, recordTimestamped),
    EVENT(TRACE_UTS5, recordTimestamped),
    EVENT(TRACE_UTS6, recordTimestamped),
    EVENT(TRACE_UTS7, recordTimestamped),
};

const Event& findEvent(const std::string& name) {
    const auto* const found = std::find_if(std::begin(kEvents), std::end(kEvents),
                                           [&](const Event& event) { return event.name == name; });
    if (found == std::end(kEvents)) {
        throw std::invalid_argument("no trace event is called '" + name + "'");
    }
    return *found;
}

}  // namespace

TraceCapture::TraceCapture() {
    for (const Event& event : kEvents) {
        probes_.push_back(std::make_unique<EventProbe>(events_, event));
    }
}

TraceCapture::TraceCapture(std::initializer_list<const char*> eventNames) {
    for (const char* name : eventNames) {
        probes_.push_back(std::make_unique<EventProbe>(events_, findEvent(name)));
    }
}

TraceCapture::~TraceCapture() = default;

std::vector<CapturedEvent> TraceCapture::events() const {
    const std::lock_guard<std::mutex> lock(recording);
    return events_;
}

std::vector<std::string> TraceCapture::messages(const std::string& eventName) const {
    std::vector<std::string> messages;
    for (const CapturedEvent& event : events()) {
        if (event.name == eventName) {
            messages.push_back(event.msg);
        }
    }
    return messages;
}

std::size_t TraceCapture::count(const std::string& eventName, const std::string& msg) const {
    const std::vector<std::string> candidates = messages(eventName);
    return static_cast<std::size_t>(std::count(candidates.begin(), candidates.end(), msg));
}

}  // namespace QuoriaTest
