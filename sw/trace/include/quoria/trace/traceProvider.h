// traceProvider.h: the twenty events of the tracepoint provider com_talmor_pellon_quoria.
//
// Public header.
//
// libquoria owns the provider: it defines and exports the tracepoint objects, holds the probes and
// registers them when it is loaded. Whoever else includes this header refers to those objects;
// linking libquoria is all it takes. Emit events with the macros of trace.h, from any thread.
//
// A provider's macros apply to every event declared in the same source unit. So a unit that defines
// TRACEPOINT_DEFINE or TRACEPOINT_CREATE_PROBES for a provider of its own must not include this
// header: it would define these events a second time.
#if !defined(QUORIA_TRACE_TRACEPROVIDER_H) || defined(TRACEPOINT_HEADER_MULTI_READ)
#define QUORIA_TRACE_TRACEPROVIDER_H

#if !defined(QUORIA_TRACE_PROVIDER_SOURCE) &&                              \
    (defined(TRACEPOINT_DEFINE) || defined(LTTNG_UST_TRACEPOINT_DEFINE) || \
     defined(TRACEPOINT_CREATE_PROBES) || defined(LTTNG_UST_TRACEPOINT_CREATE_PROBES))
#error "libquoria alone defines these tracepoints: define those of your own in another source unit"
#endif

#include <lttng/tracepoint.h>
#include <stddef.h>
#include <stdint.h>

// Not all versions of the tracepoint headers export what they declare from a library that hides its
// names by default. The pragma can't stand inside the declarations that the rereading makes.
#ifndef TRACEPOINT_HEADER_MULTI_READ
#pragma GCC visibility push(default)
#endif

// Tracers show the arguments as they are spelt here: no alias, and no other spacing.
// clang-format off

// Caller's time stamp and process, a text and bytes; seven levels, 1 the least verbose.
TRACEPOINT_EVENT_CLASS(com_talmor_pellon_quoria, TIMESTAMPED_CLASS,
    TP_ARGS(const char*, file, unsigned int, line, unsigned int, sec, unsigned int, usec, const char*, process, const char*, msg, const char*, data, size_t, datalen),
    TP_FIELDS(
        ctf_string(file, file)
        ctf_integer(uint32_t, line, line)
        ctf_integer(uint32_t, sec, sec)
        ctf_integer(uint32_t, usec, usec)
        ctf_string(process, process)
        ctf_string(msg, msg)
        ctf_sequence(uint8_t, data, data, size_t, datalen)))

TRACEPOINT_EVENT_INSTANCE(com_talmor_pellon_quoria, TIMESTAMPED_CLASS, TRACE_UTS7,
    TP_ARGS(const char*, file, unsigned int, line, unsigned int, sec, unsigned int, usec, const char*, process, const char*, msg, const char*, data, size_t, datalen))
TRACEPOINT_LOGLEVEL(com_talmor_pellon_quoria, TRACE_UTS7, TRACE_DEBUG)

TRACEPOINT_EVENT_INSTANCE(com_talmor_pellon_quoria, TIMESTAMPED_CLASS, TRACE_UTS6,
    TP_ARGS(const char*, file, unsigned int, line, unsigned int, sec, unsigned int, usec, const char*, process, const char*, msg, const char*, data, size_t, datalen))
TRACEPOINT_LOGLEVEL(com_talmor_pellon_quoria, TRACE_UTS6, TRACE_DEBUG_LINE)

TRACEPOINT_EVENT_INSTANCE(com_talmor_pellon_quoria, TIMESTAMPED_CLASS, TRACE_UTS5,
    TP_ARGS(const char*, file, unsigned int, line, unsigned int, sec, unsigned int, usec, const char*, process, const char*, msg, const char*, data, size_t, datalen))
TRACEPOINT_LOGLEVEL(com_talmor_pellon_quoria, TRACE_UTS5, TRACE_DEBUG_FUNCTION)

TRACEPOINT_EVENT_INSTANCE(com_talmor_pellon_quoria, TIMESTAMPED_CLASS, TRACE_UTS4,
    TP_ARGS(const char*, file, unsigned int, line, unsigned int, sec, unsigned int, usec, const char*, process, const char*, msg, const char*, data, size_t, datalen))
TRACEPOINT_LOGLEVEL(com_talmor_pellon_quoria, TRACE_UTS4, TRACE_DEBUG_UNIT)

TRACEPOINT_EVENT_INSTANCE(com_talmor_pellon_quoria, TIMESTAMPED_CLASS, TRACE_UTS3,
    TP_ARGS(const char*, file, unsigned int, line, unsigned int, sec, unsigned int, usec, const char*, process, const char*, msg, const char*, data, size_t, datalen))
TRACEPOINT_LOGLEVEL(com_talmor_pellon_quoria, TRACE_UTS3, TRACE_DEBUG_MODULE)

TRACEPOINT_EVENT_INSTANCE(com_talmor_pellon_quoria, TIMESTAMPED_CLASS, TRACE_UTS2,
    TP_ARGS(const char*, file, unsigned int, line, unsigned int, sec, unsigned int, usec, const char*, process, const char*, msg, const char*, data, size_t, datalen))
TRACEPOINT_LOGLEVEL(com_talmor_pellon_quoria, TRACE_UTS2, TRACE_DEBUG_PROCESS)

TRACEPOINT_EVENT_INSTANCE(com_talmor_pellon_quoria, TIMESTAMPED_CLASS, TRACE_UTS1,
    TP_ARGS(const char*, file, unsigned int, line, unsigned int, sec, unsigned int, usec, const char*, process, const char*, msg, const char*, data, size_t, datalen))
TRACEPOINT_LOGLEVEL(com_talmor_pellon_quoria, TRACE_UTS1, TRACE_DEBUG_PROGRAM)

// A text and bytes.
TRACEPOINT_EVENT(com_talmor_pellon_quoria, DATA,
    TP_ARGS(const char*, file, unsigned int, line, const char*, obj, const char*, msg, const char*, data, size_t, datalen),
    TP_FIELDS(
        ctf_string(file, file)
        ctf_integer(uint32_t, line, line)
        ctf_string(obj, obj)
        ctf_string(msg, msg)
        ctf_sequence(uint8_t, data, data, size_t, datalen)))
TRACEPOINT_LOGLEVEL(com_talmor_pellon_quoria, DATA, TRACE_DEBUG)

// A signal sent, and to whom.
TRACEPOINT_EVENT(com_talmor_pellon_quoria, SEND_SIG,
    TP_ARGS(const char*, file, unsigned int, line, const char*, obj, unsigned int, sig_no, unsigned int, pid, const char*, msg),
    TP_FIELDS(
        ctf_string(file, file)
        ctf_integer(uint32_t, line, line)
        ctf_string(obj, obj)
        ctf_integer_hex(uint32_t, sig_no, sig_no)
        ctf_integer(uint32_t, pid, pid)
        ctf_string(msg, msg)))
TRACEPOINT_LOGLEVEL(com_talmor_pellon_quoria, SEND_SIG, TRACE_DEBUG_SYSTEM)

// A signal received.
TRACEPOINT_EVENT(com_talmor_pellon_quoria, REC_SIG,
    TP_ARGS(const char*, file, unsigned int, line, const char*, obj, unsigned int, sig_no, const char*, msg),
    TP_FIELDS(
        ctf_string(file, file)
        ctf_integer(uint32_t, line, line)
        ctf_string(obj, obj)
        ctf_integer_hex(uint32_t, sig_no, sig_no)
        ctf_string(msg, msg)))
TRACEPOINT_LOGLEVEL(com_talmor_pellon_quoria, REC_SIG, TRACE_DEBUG_SYSTEM)

// A text on behalf of an object; seven levels, 1 the least verbose, and changes of state.
TRACEPOINT_EVENT_CLASS(com_talmor_pellon_quoria, OBJECT_CLASS,
    TP_ARGS(const char*, file, unsigned int, line, const char*, obj, const char*, msg),
    TP_FIELDS(
        ctf_string(file, file)
        ctf_integer(uint32_t, line, line)
        ctf_string(obj, obj)
        ctf_string(msg, msg)))

TRACEPOINT_EVENT_INSTANCE(com_talmor_pellon_quoria, OBJECT_CLASS, TRACE7,
    TP_ARGS(const char*, file, unsigned int, line, const char*, obj, const char*, msg))
TRACEPOINT_LOGLEVEL(com_talmor_pellon_quoria, TRACE7, TRACE_DEBUG)

TRACEPOINT_EVENT_INSTANCE(com_talmor_pellon_quoria, OBJECT_CLASS, TRACE6,
    TP_ARGS(const char*, file, unsigned int, line, const char*, obj, const char*, msg))
TRACEPOINT_LOGLEVEL(com_talmor_pellon_quoria, TRACE6, TRACE_DEBUG_LINE)

TRACEPOINT_EVENT_INSTANCE(com_talmor_pellon_quoria, OBJECT_CLASS, TRACE5,
    TP_ARGS(const char*, file, unsigned int, line, const char*, obj, const char*, msg))
TRACEPOINT_LOGLEVEL(com_talmor_pellon_quoria, TRACE5, TRACE_DEBUG_FUNCTION)

TRACEPOINT_EVENT_INSTANCE(com_talmor_pellon_quoria, OBJECT_CLASS, TRACE4,
    TP_ARGS(const char*, file, unsigned int, line, const char*, obj, const char*, msg))
TRACEPOINT_LOGLEVEL(com_talmor_pellon_quoria, TRACE4, TRACE_DEBUG_UNIT)

TRACEPOINT_EVENT_INSTANCE(com_talmor_pellon_quoria, OBJECT_CLASS, TRACE3,
    TP_ARGS(const char*, file, unsigned int, line, const char*, obj, const char*, msg))
TRACEPOINT_LOGLEVEL(com_talmor_pellon_quoria, TRACE3, TRACE_DEBUG_MODULE)

TRACEPOINT_EVENT_INSTANCE(com_talmor_pellon_quoria, OBJECT_CLASS, TRACE2,
    TP_ARGS(const char*, file, unsigned int, line, const char*, obj, const char*, msg))
TRACEPOINT_LOGLEVEL(com_talmor_pellon_quoria, TRACE2, TRACE_DEBUG_PROCESS)

TRACEPOINT_EVENT_INSTANCE(com_talmor_pellon_quoria, OBJECT_CLASS, TRACE1,
    TP_ARGS(const char*, file, unsigned int, line, const char*, obj, const char*, msg))
TRACEPOINT_LOGLEVEL(com_talmor_pellon_quoria, TRACE1, TRACE_DEBUG_PROGRAM)

TRACEPOINT_EVENT_INSTANCE(com_talmor_pellon_quoria, OBJECT_CLASS, STATE_CHANGE,
    TP_ARGS(const char*, file, unsigned int, line, const char*, obj, const char*, msg))
TRACEPOINT_LOGLEVEL(com_talmor_pellon_quoria, STATE_CHANGE, TRACE_DEBUG_SYSTEM)

// A text alone.
TRACEPOINT_EVENT_CLASS(com_talmor_pellon_quoria, MESSAGE_CLASS,
    TP_ARGS(const char*, file, unsigned int, line, const char*, msg),
    TP_FIELDS(
        ctf_string(file, file)
        ctf_integer(uint32_t, line, line)
        ctf_string(msg, msg)))

TRACEPOINT_EVENT_INSTANCE(com_talmor_pellon_quoria, MESSAGE_CLASS, INFO,
    TP_ARGS(const char*, file, unsigned int, line, const char*, msg))
TRACEPOINT_LOGLEVEL(com_talmor_pellon_quoria, INFO, TRACE_INFO)

TRACEPOINT_EVENT_INSTANCE(com_talmor_pellon_quoria, MESSAGE_CLASS, ERROR,
    TP_ARGS(const char*, file, unsigned int, line, const char*, msg))
TRACEPOINT_LOGLEVEL(com_talmor_pellon_quoria, ERROR, TRACE_ERR)

// clang-format on

#ifndef TRACEPOINT_HEADER_MULTI_READ
#pragma GCC visibility pop
#endif

#endif
