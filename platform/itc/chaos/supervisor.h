// supervisor.h: starts, stops, continues and kills the workers, and watches what becomes of them.
//
// Private header of platform/itc's chaos test.
//
// Has one thread, so that it may fork at any time, and a mailbox with a monitor on each worker.
#ifndef ITC_CHAOS_SUPERVISOR_H
#define ITC_CHAOS_SUPERVISOR_H

#include "board.h"

#include <itc.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include <sys/types.h>

namespace ItcChaos {

class Supervisor {
public:
    explicit Supervisor(const World& world);
    // Returns whether all was well; says so on the standard output stream.
    bool run(std::chrono::seconds time);

private:
    using Clock = std::chrono::steady_clock;
    struct Worker {
        pid_t pid = -1;
        unsigned life = 0;
        bool isStopped = false;
        Clock::time_point stoppedUntil;
        itc_mbox_id_t mailbox = ITC_NO_MAILBOX;  // the one that is monitored
        itc_monitor_id_t monitor = ITC_NO_MAILBOX;
        bool isGone = false;  // the monitor has fired
    };

    void start(unsigned index);
    void watch(Worker& worker, unsigned index);
    void kill(unsigned index);
    void stop(Worker& worker, std::chrono::milliseconds time);
    void continueThose(Clock::time_point stoppedUntil);
    void receiveNews(std::uint32_t timeout);
    void forgetDeleted();
    void expectAllAtWork();
    bool waitUntilDrained();
    void endAll();
    void expectCleanEnd(Worker& worker);
    void checkTraces();
    void compare(const char* whose, const Possessions& before, const Possessions& after,
                 std::uint64_t spareDescriptors);
    void report(const std::string& what);
    void print(std::chrono::seconds time);

    const World& world_;
    Decisions decisions_;
    std::vector<Worker> workers_;
    itc_mbox_id_t id_ = ITC_NO_MAILBOX;
    Possessions before_ = {};
    Possessions after_ = {};
    std::vector<double> noticeMilliseconds_;
    std::uint64_t kills_ = 0;
    std::uint64_t stops_ = 0;
    std::uint64_t leaks_ = 0;
    std::uint64_t failures_ = 0;
};

}  // namespace ItcChaos

#endif
