// board.h: what the processes of the chaos test share besides their mailboxes.
//
// Private header of platform/itc's chaos test.
//
// Lies in memory that all of them inherit. Any thread of any of them may use it.
#ifndef ITC_CHAOS_BOARD_H
#define ITC_CHAOS_BOARD_H

#include <atomic>
#include <cstdint>
#include <string>

namespace ItcChaos {

constexpr unsigned kMaxWorkers = 64;
constexpr unsigned kMaxPlayers = 8;  // threads of a worker

enum Phase : std::uint32_t {
    kPlay,        // all do what their seeds tell them
    kDrain,       // nothing new begins; what is under way must come to its end
    kLeave,       // the mailboxes and their processes end
    kCountLeaks,  // the one that was there from the start counts what it has
};

// Sums over all processes, the killed ones included.
struct Figures {
    std::atomic<std::uint64_t> messages;  // received and checked
    std::atomic<std::uint64_t> bytes;
    std::atomic<std::uint64_t> waits;      // for an answer, without a time at which one gives up
    std::atomic<std::uint64_t> monitors;   // that fired
    std::atomic<std::uint64_t> answers;    // to requests for a name
    std::atomic<std::uint64_t> mailboxes;  // created
    std::atomic<std::uint64_t> names;      // given in addition to the first
};

// What a process that lives from the start to the end has, at both times.
struct Possessions {
    std::atomic<std::uint64_t> descriptors;
    std::atomic<std::uint64_t> heapBytes;
    std::atomic<std::uint64_t> inboxBytes;
};

struct Board {
    std::atomic<std::uint32_t> phase;
    std::atomic<bool> isDrained[kMaxWorkers][kMaxPlayers];
    Figures figures;
    Possessions before;
    Possessions after;
};

struct World {
    Board* board;
    std::uint64_t seed;
    unsigned workers;
    unsigned players;  // of each worker
};

std::string playerName(unsigned worker, unsigned player);
// Of the first player of one life of a worker.
std::string lifeName(unsigned worker, unsigned life);

// Reports on the standard error stream and ends the process.
[[noreturn]] void failed(const std::string& what);
constexpr int kFailed = 70;

// What the calling process has now. `mailbox` is one of it.
void count(Possessions& possessions, std::uint32_t mailbox);

// A stream of numbers that follows from its seed alone.
class Decisions {
public:
    explicit Decisions(std::uint64_t seed) : state_(seed) {}
    std::uint64_t next() { return mix(state_ += 0x9E3779B97F4A7C15); }
    static std::uint64_t mix(std::uint64_t value) {
        value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9;
        value = (value ^ (value >> 27)) * 0x94D049BB133111EB;
        return value ^ (value >> 31);
    }

private:
    std::uint64_t state_;
};

}  // namespace ItcChaos

#endif
