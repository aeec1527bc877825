#include <quoria/trace/fire.h>

#include <quoria/trace/traceProvider.h>

#include <atomic>

namespace Quoria::Trace {

namespace {

// The tracepoint headers put a destructor into each module that takes away, at exit, the functions
// that firing an event calls; a thread that is between two of them then jumps to null. Threads do
// fire events while the process ends, so the destructor of this module is asked to leave them. That
// of an application's module can't be asked, which is why the statements fire in here. Threads that
// fire at the same time may ask several times, which is harmless: all store the same. None of them
// waits for another, and none fires before the destructor was asked.
void outliveDestructors() {
    static std::atomic<bool> hasAsked{false};
    if (!hasAsked.load(std::memory_order_relaxed)) {
        tracepoint_disable_destructors();
        hasAsked.store(true, std::memory_order_relaxed);
    }
}

}  // namespace

// The numbered levels and the events that go with them differ in nothing but the name.
#define DEFINE_FIRE_MESSAGE(event)                                                              \
    void fire##event(const Text& text) {                                                        \
        outliveDestructors();                                                                   \
        do_tracepoint(com_talmor_pellon_quoria, event, text.file, text.line, text.msg.c_str()); \
    }

#define DEFINE_FIRE_OBJECT(event)                                                 \
    void fire##event(const Text& text, const char* obj) {                         \
        outliveDestructors();                                                     \
        do_tracepoint(com_talmor_pellon_quoria, event, text.file, text.line, obj, \
                      text.msg.c_str());                                          \
    }

#define DEFINE_FIRE_TIMESTAMPED(event)                                                           \
    void fire##event(const Text& text, unsigned int sec, unsigned int usec, const char* process, \
                     const char* data, std::size_t datalen) {                                    \
        outliveDestructors();                                                                    \
        do_tracepoint(com_talmor_pellon_quoria, event, text.file, text.line, sec, usec, process, \
                      text.msg.c_str(), data, datalen);                                          \
    }

DEFINE_FIRE_MESSAGE(ERROR)
DEFINE_FIRE_MESSAGE(INFO)

DEFINE_FIRE_OBJECT(STATE_CHANGE)
DEFINE_FIRE_OBJECT(TRACE1)
DEFINE_FIRE_OBJECT(TRACE2)
DEFINE_FIRE_OBJECT(TRACE3)
DEFINE_FIRE_OBJECT(TRACE4)
DEFINE_FIRE_OBJECT(TRACE5)
DEFINE_FIRE_OBJECT(TRACE6)
DEFINE_FIRE_OBJECT(TRACE7)

void fireREC_SIG(const Text& text, const char* obj, unsigned int sigNo) {
    outliveDestructors();
    do_tracepoint(com_talmor_pellon_quoria, REC_SIG, text.file, text.line, obj, sigNo,
                  text.msg.c_str());
}

void fireSEND_SIG(const Text& text, const char* obj, unsigned int sigNo, unsigned int pid) {
    outliveDestructors();
    do_tracepoint(com_talmor_pellon_quoria, SEND_SIG, text.file, text.line, obj, sigNo, pid,
                  text.msg.c_str());
}

void fireDATA(const Text& text, const char* obj, const char* data, std::size_t datalen) {
    outliveDestructors();
    do_tracepoint(com_talmor_pellon_quoria, DATA, text.file, text.line, obj, text.msg.c_str(), data,
                  datalen);
}

DEFINE_FIRE_TIMESTAMPED(TRACE_UTS1)
DEFINE_FIRE_TIMESTAMPED(TRACE_UTS2)
DEFINE_FIRE_TIMESTAMPED(TRACE_UTS3)
DEFINE_FIRE_TIMESTAMPED(TRACE_UTS4)
DEFINE_FIRE_TIMESTAMPED(TRACE_UTS5)
DEFINE_FIRE_TIMESTAMPED(TRACE_UTS6)
DEFINE_FIRE_TIMESTAMPED(TRACE_UTS7)

}  // namespace Quoria::Trace
