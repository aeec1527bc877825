// Defines the tracepoint objects and, by letting the tracepoint headers read the events again, the
// probes and their registration at load time.

#define QUORIA_TRACE_PROVIDER_SOURCE
#define TRACEPOINT_DEFINE
#define TRACEPOINT_CREATE_PROBES
#define TRACEPOINT_PROVIDER com_talmor_pellon_quoria
#define TRACEPOINT_INCLUDE "quoria/trace/traceProvider.h"

#include <quoria/trace/traceProvider.h>

#include <lttng/tracepoint-event.h>
