// A program that loads a library and closes it, twice.
//
// usage: traceLoader LIBRARY [unloads]
//
// With "unloads", closing must take the library out of the process, so that it is really loaded and
// set up a second time.

#include <dlfcn.h>

#include <cstdlib>
#include <iostream>
#include <string>

namespace {

int fail(const char* why) {
    std::cerr << (why != nullptr ? why : "no library named") << std::endl;
    return EXIT_FAILURE;
}

}  // namespace

int main(int argc, char** argv) {
    const bool unloads = argc == 3 && std::string(argv[2]) == "unloads";
    for (int round = 0; round < 2; ++round) {
        void* const library = argc > 1 ? dlopen(argv[1], RTLD_NOW | RTLD_LOCAL) : nullptr;
        if (library == nullptr || dlclose(library) != 0) {
            return fail(dlerror());
        }
        if (unloads && dlopen(argv[1], RTLD_NOW | RTLD_NOLOAD) != nullptr) {
            return fail("the library is still loaded");
        }
    }
    return EXIT_SUCCESS;
}
