// A program that knows of libquoria only through a module, which it loads, uses and closes.
//
// usage: moduleLoader MODULE LIBRARY
//
// It fails if a use fails, if closing leaves the module in the process, or if it takes the library
// out of it.
#include <dlfcn.h>

#include <cstdlib>
#include <iostream>
#include <thread>

namespace {

[[noreturn]] void fail(const char* why) {
    std::cerr << (why != nullptr ? why : "unknown") << std::endl;
    std::_Exit(EXIT_FAILURE);
}

void useAndClose(const char* path) {
    void* const module = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (module == nullptr) {
        fail(dlerror());
    }
    const auto use = reinterpret_cast<bool (*)()>(dlsym(module, "useLibrary"));
    if (use == nullptr || !use()) {
        fail("the module can't use the library");
    }
    if (dlclose(module) != 0) {
        fail(dlerror());
    }
}

bool isLoaded(const char* path) {
    return dlopen(path, RTLD_NOW | RTLD_NOLOAD) != nullptr;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        fail("usage: moduleLoader MODULE LIBRARY");
    }
    const char* const module = argv[1];
    // Each of the threads ends with the module closed already.
    for (int round = 0; round < 2; ++round) {
        std::thread(useAndClose, module).join();
        if (isLoaded(module)) {
            fail("the module is still loaded");
        }
    }
    for (int round = 0; round < 2; ++round) {
        useAndClose(module);
    }
    if (!isLoaded(argv[2])) {
        fail("the library is gone");
    }
    return EXIT_SUCCESS;
}
