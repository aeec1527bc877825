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
static inline void goOnUntraced() {}
#define abort goOnUntraced

#include <lttng/tracepoint-event.h>

#undef abort
