#include "fuzzInput.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace ItcFuzz {

Playground::Playground() : path_("/dev/shm/itc-fuzz-XXXXXX") {
    if (mkdtemp(path_.data()) == nullptr) {
        std::perror("no folder for the fuzz target");
        std::exit(EXIT_FAILURE);
    }
}

Playground::~Playground() {
    std::error_code ignored;  // what stays is in a folder of its own
    std::filesystem::remove_all(path_, ignored);
}

}  // namespace ItcFuzz
