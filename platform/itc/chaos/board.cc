#include "board.h"

#include <itc_admin.h>

#include <cstdio>
#include <filesystem>
#include <iterator>

#include <malloc.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ItcChaos {

std::string playerName(unsigned worker, unsigned player) {
    return "player-" + std::to_string(worker) + "-" + std::to_string(player);
}

std::string lifeName(unsigned worker, unsigned life) {
    return "worker-" + std::to_string(worker) + "-life-" + std::to_string(life);
}

void failed(const std::string& what) {
    std::fprintf(stderr, "FAILED in process %d: %s (last error: \"%s\")\n", getpid(), what.c_str(),
                 itc_error_text());
    _exit(kFailed);
}

void count(Possessions& possessions, std::uint32_t mailbox) {
    const std::filesystem::directory_iterator all("/proc/self/fd");
    possessions.descriptors = static_cast<std::uint64_t>(std::distance(begin(all), end(all)));
    possessions.heapBytes = mallinfo2().uordblks;
    char inbox[32];
    std::snprintf(inbox, sizeof(inbox), "/process-%04u/inbox", mailbox >> 20);
    struct stat status = {};
    if (stat((std::string(itc_domain_path()) + inbox).c_str(), &status) != 0) {
        failed("a living process has no inbox");
    }
    possessions.inboxBytes = static_cast<std::uint64_t>(status.st_blocks) * 512;
}

}  // namespace ItcChaos
