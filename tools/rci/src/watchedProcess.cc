#include "watchedProcess.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <sstream>
#include <string>

namespace Rci {

namespace {

// The kernel gives up a process's files, by which others notice its end, shortly before the rest.
constexpr int kPatienceMs = 2000;
constexpr int kFieldsBetweenStateAndStatus = 48;

// What Linux tells about the process of a pidfd since 6.13, and since 6.15 also how it ended. Not
// in the headers of older systems.
struct PidfdInfo {
    std::uint64_t mask;
    std::uint64_t others[6];
    std::uint32_t another;
    std::int32_t exitStatus;
};
static_assert(sizeof(PidfdInfo) == 64 && offsetof(PidfdInfo, exitStatus) == 60);
constexpr std::uint64_t kInfoExit = 1U << 3;
constexpr unsigned long kGetInfo = _IOWR(0xFF, 11, PidfdInfo);

std::string folderOf(pid_t pid) {
    return "/proc/" + std::to_string(pid);
}

// The status that stands in the line `stat` of a process that waits for its parent.
std::optional<int> statusOfZombie(const std::string& stat) {
    const std::size_t nameEnd = stat.rfind(')');
    if (nameEnd == std::string::npos) {
        return std::nullopt;
    }
    std::istringstream fields(stat.substr(nameEnd + 1));
    std::string state;
    fields >> state;
    std::string skipped;
    for (int i = 0; i < kFieldsBetweenStateAndStatus; ++i) {
        fields >> skipped;
    }
    int status = 0;
    if (state != "Z" || !(fields >> status)) {
        return std::nullopt;
    }
    return status;
}

}  // namespace

WatchedProcess::WatchedProcess(pid_t pid)
    : pid_(pid), descriptor_(static_cast<int>(syscall(SYS_pidfd_open, pid, 0))) {}

WatchedProcess::~WatchedProcess() {
    if (descriptor_ != -1) {
        close(descriptor_);
    }
}

std::optional<int> WatchedProcess::endStatus() const {
    if (descriptor_ == -1 || !awaitEnd() || !mayBeRead()) {
        return std::nullopt;
    }
    std::ifstream file(folderOf(pid_) + "/stat");
    std::string line;
    std::getline(file, line, '\0');
    const std::optional<int> status = statusOfZombie(line);
    return status ? status : statusAfterwards();
}

// Once its parent has taken it.
std::optional<int> WatchedProcess::statusAfterwards() const {
    PidfdInfo info = {};
    info.mask = kInfoExit;
    if (ioctl(descriptor_, kGetInfo, &info) != 0 || (info.mask & kInfoExit) == 0) {
        return std::nullopt;
    }
    return info.exitStatus;
}

bool WatchedProcess::awaitEnd() const {
    pollfd entry{descriptor_, POLLIN, 0};
    int ready = 0;
    do {
        ready = poll(&entry, 1, kPatienceMs);
    } while (ready == -1 && errno == EINTR);
    return ready == 1;
}

// To those who may not, the kernel shows every status as 0.
bool WatchedProcess::mayBeRead() const {
    char target[1];
    return readlink((folderOf(pid_) + "/cwd").c_str(), target, sizeof target) != -1 ||
           errno != EACCES;
}

}  // namespace Rci
