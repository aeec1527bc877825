#include "setting.h"

#include "contender.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include <sched.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Bench {

namespace {

constexpr unsigned kLongestSeconds = 60;

// The last CPU: the first one has more interrupts.
void pinToOneCpu() {
    cpu_set_t allowed;
    need(sched_getaffinity(0, sizeof allowed, &allowed), "sched_getaffinity");
    int last = CPU_SETSIZE - 1;
    while (last > 0 && !CPU_ISSET(last, &allowed)) {
        --last;
    }
    CPU_ZERO(&allowed);
    CPU_SET(last, &allowed);
    need(sched_setaffinity(0, sizeof allowed, &allowed), "sched_setaffinity");
}

}  // namespace

std::string folderOf(pid_t process) {
    return "/dev/shm/bench-itc-" + std::to_string(process);
}

Setting::Setting(bool pinned) : folder_(folderOf(getpid())) {
    alarm(kLongestSeconds);
    need(mkdir(folder_.c_str(), 0700), "mkdir");
    need(setenv("ITC_DOMAIN", (folder_ + "/domain").c_str(), 1), "setenv");
    if (pinned) {
        pinToOneCpu();
    }
}

Setting::~Setting() {
    std::error_code ignored;  // what can't be removed is no result of the measurement
    std::filesystem::remove_all(folder_, ignored);
}

double now() {
    return std::chrono::duration<double, std::nano>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

}  // namespace Bench
