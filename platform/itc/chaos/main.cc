// The chaos test: processes that use mailboxes in every way while they are killed and stopped at
// random moments.
//
//   itcChaos [--seconds N] [--seed N] [--workers N] [--players N]
//
// What each process decides to do follows from the seed; how they interleave does not.

#include "supervisor.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <new>
#include <random>
#include <string>
#include <system_error>

#include <sys/mman.h>

namespace {

using namespace ItcChaos;

class TemporaryDomain {
public:
    TemporaryDomain() {
        std::string pattern = "/dev/shm/itc-chaos-XXXXXX";
        if (mkdtemp(pattern.data()) == nullptr || setenv("ITC_DOMAIN", pattern.c_str(), 1) != 0) {
            failed("no domain is made");
        }
        path_ = pattern;
    }
    ~TemporaryDomain() {
        std::error_code ignored;  // of a failed run something may be alive
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryDomain(const TemporaryDomain&) = delete;
    TemporaryDomain& operator=(const TemporaryDomain&) = delete;

private:
    std::string path_;
};

}  // namespace

int main(int argc, char** argv) {
    unsigned long seconds = 15;
    World world = {nullptr, std::random_device()(), 8, 2};
    for (int at = 1; at + 1 < argc; at += 2) {
        const unsigned long value = std::strtoul(argv[at + 1], nullptr, 0);
        if (std::strcmp(argv[at], "--seconds") == 0) {
            seconds = value;
        } else if (std::strcmp(argv[at], "--seed") == 0) {
            world.seed = value;
        } else if (std::strcmp(argv[at], "--workers") == 0) {
            world.workers = static_cast<unsigned>(std::clamp(value, 2UL, 1UL * kMaxWorkers));
        } else if (std::strcmp(argv[at], "--players") == 0) {
            world.players = static_cast<unsigned>(std::clamp(value, 1UL, 1UL * kMaxPlayers));
        } else {
            std::fprintf(stderr, "unknown: %s\n", argv[at]);
            return EXIT_FAILURE;
        }
    }
    std::printf("itcChaos --seconds %lu --seed %llu --workers %u --players %u\n", seconds,
                static_cast<unsigned long long>(world.seed), world.workers, world.players);
    std::fflush(stdout);  // nothing must be printed twice by those who are forked

    void* memory =
        mmap(nullptr, sizeof(Board), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        failed("no memory for all is made");
    }
    world.board = new (memory) Board{};
    const TemporaryDomain domain;
    return Supervisor(world).run(std::chrono::seconds(seconds)) ? EXIT_SUCCESS : EXIT_FAILURE;
}
