#include <quoria/util/sleepFor.h>

#include <time.h>

#include <cerrno>

namespace Quoria::Util {

namespace {

using std::chrono::nanoseconds;
using std::chrono::steady_clock;

constexpr nanoseconds kLongestSpin(999'999);

void sleepInKernel(nanoseconds duration) {
    const auto wholeSeconds = std::chrono::duration_cast<std::chrono::seconds>(duration);
    timespec remaining{};
    remaining.tv_sec = wholeSeconds.count();
    remaining.tv_nsec = (duration - wholeSeconds).count();
    while (nanosleep(&remaining, &remaining) == -1 && errno == EINTR) {
    }
}

void spin(nanoseconds duration) {
    const auto deadline = steady_clock::now() + duration;
    while (steady_clock::now() < deadline) {
    }
}

}  // namespace

void sleepFor(const nanoseconds& duration) {
    if (duration > kLongestSpin) {
        sleepInKernel(duration);
    } else {
        spin(duration);
    }
}

}  // namespace Quoria::Util
