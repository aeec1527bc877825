// A program on a machine without the tracepoint runtime, by standing in for the function that loads
// it. The exit code tells whether an event was enabled all the same, or nobody asked for the
// runtime.

#include <quoria/trace/trace.h>

#include <dlfcn.h>

#include <cstring>

namespace {

bool isAskedFor = false;

}  // namespace

__attribute__((visibility("default"))) void* dlopen(const char* name, int flags) noexcept {
    if (name != nullptr && std::strstr(name, "liblttng-ust-tracepoint") != nullptr) {
        isAskedFor = true;
        return nullptr;
    }
    return reinterpret_cast<decltype(&dlopen)>(dlsym(RTLD_NEXT, "dlopen"))(name, flags);
}

int main() {
    bool enabled = false;
    QTRACE_ERROR("nobody reads this" << (enabled = true));
    QTRACE_INFO("nor this" << (enabled = true));
    QTRACE_TRACE1("-", "nor this" << (enabled = true));
    return enabled || !isAskedFor ? 1 : 0;
}
