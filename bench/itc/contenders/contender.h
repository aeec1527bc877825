// contender.h: one way to send messages, as the measurements see it.
//
// Private header of the benchmark.
//
// A contender has one hub and one or more spokes, in processes or threads of their own. The hub is
// there before the spokes come. Either end is used by the thread that made it.
#ifndef QUORIA_BENCH_CONTENDER_H
#define QUORIA_BENCH_CONTENDER_H

#include <cstddef>
#include <memory>
#include <string>

namespace Bench {

struct Job {
    std::string measure;  // "roundTrip", "oneWay" or "manySenders"
    bool betweenThreads;  // else between processes
    unsigned spokes;      // more than one only with "manySenders"
    std::size_t size;     // of a payload, in bytes
    std::size_t count;    // of the messages that each spoke sends while the time is taken
    std::string folder;   // on tmpfs, of this job alone: for sockets and the like
};

// Every sender writes the whole payload of every message, and every receiver reads a word of each
// of its cache lines: what an interface copies or spares then shows as it would in a program.
void writePayload(void* payload, std::size_t size);
void readPayload(const void* payload, std::size_t size);

class End {
public:
    virtual ~End() = default;
    // To the hub, or to the spoke whose message the hub took last.
    virtual void send(std::size_t size) = 0;
    // Waits for `count` messages and takes them.
    virtual void receive(std::size_t count) = 0;

    // Those whose interface is made of calls answer them in a way of their own.
    virtual void call(std::size_t size) {
        send(size);
        receive(1);
    }
    virtual void serveCall(std::size_t size) {
        receive(1);
        send(size);
    }
};

// Each contender's file defines these two and links contenderMain.cc.
std::unique_ptr<End> makeHub(const Job& job);
std::unique_ptr<End> makeSpoke(const Job& job);

// Ends the process with `what` and the reason on standard error.
[[noreturn]] void fail(const std::string& what);
[[noreturn]] void failWithErrno(const std::string& what);
// Returns `result` of a system call, or fails if it is negative.
int need(int result, const char* what);

}  // namespace Bench

#endif
