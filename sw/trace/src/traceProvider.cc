// Defines the tracepoint objects and, by letting the tracepoint headers read the events again, the
// probes and their registration at load time.

#define QUORIA_TRACE_PROVIDER_SOURCE
#define TRACEPOINT_DEFINE
#define TRACEPOINT_CREATE_PROBES
#define TRACEPOINT_PROVIDER com_talmor_pellon_quoria
#define TRACEPOINT_INCLUDE "quoria/trace/traceProvider.h"

#include <quoria/trace/traceProvider.h>

#include <cassert>
#include <cstdio>
#include <cstdlib>

// When the probes can't be registered, the headers say so on standard error and end the process. A
// service must not end because it can't be traced: this module goes on with its events disabled.
static bool refused = false;
static inline void goOnUntraced() {
    refused = true;
}
#define abort goOnUntraced

// Before LTTng-UST 2.13, what was refused would be taken out of the tracer's list at unload all the
// same, by its null links.
#ifndef LTTNG_UST_TRACEPOINT_NAME_LEN_MAX
#include <lttng/ust-events.h>
static void takeBack(lttng_probe_desc* probes) {
    if (!refused) {
        lttng_probe_unregister(probes);
    }
}
#define lttng_probe_unregister takeBack
#endif

#include <lttng/tracepoint-event.h>

#undef abort
