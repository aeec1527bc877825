// A traced application: links libquoria, fires events as its argument says, and ends.

#include <quoria/trace/trace.h>

#include <atomic>
#include <cstdlib>
#include <iostream>
#include <string>
#include <thread>

// The tracer frees at exit what threads were writing to, once read-copy-update has told it that
// they have left. A thread sanitizer does not see that.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_suppressions();
extern "C" const char* __tsan_default_suppressions() {
    return "race:liblttng-ust";
}

namespace {

const char kData[] = "\x00\x01\x7F\x80\xFF";
const std::size_t kDatalen = 5;

// So that the trace shows a path and lines that do not move with this file.
#line 101 "app/src/emitter.cc"
void emitAll() {
    QTRACE_ERROR("error " << 1);
    QTRACE_INFO("ABN: info " << 2);
    QTRACE_STATE_CHANGE("door", "open");
    QTRACE_TRACE1("-", "trace 1");
    QTRACE_TRACE2("two", "trace 2");
    QTRACE_TRACE3("three", "trace 3");
    QTRACE_TRACE4("four", "trace 4");
    QTRACE_TRACE5("five", "trace 5");
    QTRACE_TRACE6("six", "trace 6");
    QTRACE_TRACE7("seven", "trace 7");
    QTRACE_REC_SIG("port", 0x017070A0, "received");
    QTRACE_SEND_SIG("port", 0xFFFFFFFF, 4294967295, "sent");
    QTRACE_DATA("port", "frame", kData, kDatalen);
    QTRACE_TRACE_UTS1(1, 10, "peer1", "uts 1", kData, kDatalen);
    QTRACE_TRACE_UTS2(2, 20, "peer2", "uts 2", kData, kDatalen);
    QTRACE_TRACE_UTS3(3, 30, "peer3", "uts 3", kData, kDatalen);
    QTRACE_TRACE_UTS4(4, 40, "peer4", "uts 4", kData, kDatalen);
    QTRACE_TRACE_UTS5(5, 50, "peer5", "uts 5", kData, kDatalen);
    QTRACE_TRACE_UTS6(6, 60, "peer6", "uts 6", kData, kDatalen);
    QTRACE_TRACE_UTS7(4294967295, 999999, "peer7", "uts 7", kData, kDatalen);
}

#line 201 "app/src/emitter.cc"
void emitNothingness() {
    const char* const null = nullptr;
    QTRACE_TRACE1(null, "null object");
    QTRACE_SEND_SIG(null, 0, 0, "null object");
    QTRACE_DATA(null, "", null, 0);
    QTRACE_DATA("port", "no bytes", kData, 0);
    QTRACE_TRACE_UTS1(0, 0, null, "null process", null, 0);
    QTRACE_TRACE_UTS7(0, 0, "", "", kData, 0);
}

// Fires from the places of a program that run last.
struct LastWords {
    ~LastWords() { QTRACE_INFO("static object destroyed"); }
};

void emitUntilTheEnd() {
    static const LastWords lastWords;
    if (std::atexit([] { QTRACE_INFO("exit handler"); }) != 0) {
        std::abort();
    }
    QTRACE_INFO("leaving");
}

// Leaves threads behind that fire while the process ends.
void emitFromThreads() {
    constexpr int kThreads = 3;
    static std::atomic<int> running = 0;
    for (int i = 0; i < kThreads; ++i) {
        std::thread([] {
            QTRACE_INFO("started");
            ++running;
            for (;;) {
                QTRACE_TRACE7("-", "endless");
            }
        }).detach();
    }
    while (running < kThreads) {
        std::this_thread::yield();
    }
}

}  // namespace

int main(int argc, char** argv) {
    const std::string what = argc == 2 ? argv[1] : "";
    if (what == "all") {
        emitAll();
    } else if (what == "nothingness") {
        emitNothingness();
    } else if (what == "untilTheEnd") {
        emitUntilTheEnd();
    } else if (what == "threads") {
        emitFromThreads();
    } else {
        std::cerr << "usage: traceEmitter all|nothingness|untilTheEnd|threads" << std::endl;
        return 2;
    }
    return 0;
}
