// A program that walks through the whole library, in two processes, for a tracer to record.
//
// usage: traceWalk most|rest

#include "walk.h"

#include <cstdlib>
#include <future>
#include <iostream>
#include <stdexcept>
#include <vector>

// The tracer frees at exit what threads were writing to, once read-copy-update has told it that
// they have left. A thread sanitizer does not see that.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_suppressions();
extern "C" const char* __tsan_default_suppressions() {
    return "race:liblttng-ust";
}

namespace TraceWalk {

void tell(const std::string& name, const std::string& value) {
    std::cout << name << ' ' << value << std::endl;
}

void require(bool condition, const std::string& what) {
    if (!condition) {
        throw std::runtime_error(what);
    }
}

}  // namespace TraceWalk

int main(int argc, char** argv) {
    using namespace TraceWalk;
    using Ways = std::vector<void (*)()>;
    const std::string part = argc == 2 ? argv[1] : "";
    Ways ways;
    if (part == "most") {
        ways = {walkEventLoop, walkTimers,   walkActiveObject,      walkMessages,
                walkStartup,   walkCommands, walkConcurrentCommands};
    } else if (part == "rest") {
        ways = {walkFailedStartup, walkRegistryWithoutMailbox};
    } else {
        std::cerr << "usage: traceWalk most|rest" << std::endl;
        return EXIT_FAILURE;
    }
    try {
        for (const auto way : ways) {
            std::async(std::launch::async, way).get();
        }
    } catch (const std::exception& exception) {
        std::cerr << exception.what() << std::endl;
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
