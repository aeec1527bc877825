// A program whose tracer refuses the probes of the provider, by standing in for the function that
// takes them. The exit code tells whether an event was enabled all the same.

#include <quoria/trace/trace.h>

#include <dlfcn.h>
#include <lttng/ust-events.h>

#include <cerrno>
#include <cstring>

namespace {

bool isOurs(const char* provider) {
    return std::strcmp(provider, "com_talmor_pellon_quoria") == 0;
}

template <typename Function>
Function* real(Function*, const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

#ifdef LTTNG_UST_TRACEPOINT_NAME_LEN_MAX  // version 2.13 and later

__attribute__((visibility("default"))) lttng_ust_registered_probe* lttng_ust_probe_register(
    const lttng_ust_probe_desc* probes) {
    return isOurs(probes->provider_name)
               ? nullptr
               : real(lttng_ust_probe_register, "lttng_ust_probe_register")(probes);
}

#else

__attribute__((visibility("default"))) int lttng_probe_register(lttng_probe_desc* probes) {
    return isOurs(probes->provider) ? -ENOMEM
                                    : real(lttng_probe_register, "lttng_probe_register")(probes);
}

#endif

int main() {
    bool enabled = false;
    QTRACE_ERROR("nobody reads this" << (enabled = true));
    return enabled ? 1 : 0;
}
