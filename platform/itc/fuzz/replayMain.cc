// Runs a fuzz target over the files in the folders that are named, without a fuzzer: so the targets
// and what they have found stay alive in every build.

#include "fuzzInput.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

int main(int argc, char** argv) {
    unsigned count = 0;
    for (int index = 1; index < argc; ++index) {
        for (const auto& entry : std::filesystem::directory_iterator(argv[index])) {
            std::ifstream file(entry.path(), std::ios::binary);
            const std::vector<char> bytes((std::istreambuf_iterator<char>(file)),
                                          std::istreambuf_iterator<char>());
            LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()),
                                   bytes.size());
            ++count;
        }
    }
    std::printf("%u inputs replayed\n", count);
    return count > 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
