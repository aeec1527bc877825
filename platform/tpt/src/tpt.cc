#include "tpt.h"

#include <cstring>

extern "C" __attribute__((visibility("default"))) const char* tpt_short_fname(const char* path) {
    if (path == nullptr) {
        return nullptr;
    }
    const char* slash = std::strrchr(path, '/');
    return slash != nullptr ? slash + 1 : path;
}
