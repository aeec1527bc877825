// trace.h: the trace statements.
//
// Public header.
//
// One statement per event of the provider com_talmor_pellon_quoria:
//
//   QTRACE_ERROR(msg)                      a failed call, or a state that must not occur
//   QTRACE_INFO(msg)                       worth reporting; "ABN: ..." where abnormal but survived
//   QTRACE_STATE_CHANGE(obj, msg)
//   QTRACE_TRACE1(obj, msg) to QTRACE_TRACE7(obj, msg)             7 being the most verbose
//   QTRACE_REC_SIG(obj, sigNo, msg)        a signal received
//   QTRACE_SEND_SIG(obj, sigNo, pid, msg)  a signal sent
//   QTRACE_DATA(obj, msg, data, datalen)
//   QTRACE_TRACE_UTS1(sec, usec, process, msg, data, datalen) to QTRACE_TRACE_UTS7(...)
//
// Each adds the short name of its source file and its line. The arguments:
//
//   obj        const char*: on whose behalf; "-" where no object is concerned
//   msg        what one would insert into a std::ostream: "timeout after " << ms << " ms";
//              containers may be inserted as well and come out as "{a,b}", see messageStream.h;
//              where msg comes last, commas need no parentheses
//   sigNo      unsigned int: the number of the signal, shown in hexadecimal
//   pid        unsigned int: the other party
//   sec, usec  unsigned int: the caller's own time stamp
//   process    const char*: the process that the time stamp comes from
//   data       const char*: datalen bytes; may be null when datalen is 0
//   datalen    std::size_t
//
// A null string is recorded as "(null)". Nothing that is passed needs to outlive the statement.
//
// An event that no tracer has enabled costs one load and one test, and none of the arguments is
// evaluated. QTRACE_<EVENT>_ENABLED() is that test, for what has to be prepared ahead of a
// statement; a stale answer only means one event more or less.
//
// Thread: any. The statements take no lock of this library's and never fail.
#ifndef QUORIA_TRACE_TRACE_H
#define QUORIA_TRACE_TRACE_H

#include <quoria/trace/fire.h>
#include <quoria/trace/messageStream.h>
#include <quoria/trace/traceProvider.h>
#include <tpt.h>

// Whether a tracer has enabled the event.
#define QTRACE_ERROR_ENABLED() (tracepoint_enabled(com_talmor_pellon_quoria, ERROR) != 0)
#define QTRACE_INFO_ENABLED() (tracepoint_enabled(com_talmor_pellon_quoria, INFO) != 0)
#define QTRACE_STATE_CHANGE_ENABLED() \
    (tracepoint_enabled(com_talmor_pellon_quoria, STATE_CHANGE) != 0)
#define QTRACE_TRACE1_ENABLED() (tracepoint_enabled(com_talmor_pellon_quoria, TRACE1) != 0)
#define QTRACE_TRACE2_ENABLED() (tracepoint_enabled(com_talmor_pellon_quoria, TRACE2) != 0)
#define QTRACE_TRACE3_ENABLED() (tracepoint_enabled(com_talmor_pellon_quoria, TRACE3) != 0)
#define QTRACE_TRACE4_ENABLED() (tracepoint_enabled(com_talmor_pellon_quoria, TRACE4) != 0)
#define QTRACE_TRACE5_ENABLED() (tracepoint_enabled(com_talmor_pellon_quoria, TRACE5) != 0)
#define QTRACE_TRACE6_ENABLED() (tracepoint_enabled(com_talmor_pellon_quoria, TRACE6) != 0)
#define QTRACE_TRACE7_ENABLED() (tracepoint_enabled(com_talmor_pellon_quoria, TRACE7) != 0)
#define QTRACE_REC_SIG_ENABLED() (tracepoint_enabled(com_talmor_pellon_quoria, REC_SIG) != 0)
#define QTRACE_SEND_SIG_ENABLED() (tracepoint_enabled(com_talmor_pellon_quoria, SEND_SIG) != 0)
#define QTRACE_DATA_ENABLED() (tracepoint_enabled(com_talmor_pellon_quoria, DATA) != 0)
#define QTRACE_TRACE_UTS1_ENABLED() (tracepoint_enabled(com_talmor_pellon_quoria, TRACE_UTS1) != 0)
#define QTRACE_TRACE_UTS2_ENABLED() (tracepoint_enabled(com_talmor_pellon_quoria, TRACE_UTS2) != 0)
#define QTRACE_TRACE_UTS3_ENABLED() (tracepoint_enabled(com_talmor_pellon_quoria, TRACE_UTS3) != 0)
#define QTRACE_TRACE_UTS4_ENABLED() (tracepoint_enabled(com_talmor_pellon_quoria, TRACE_UTS4) != 0)
#define QTRACE_TRACE_UTS5_ENABLED() (tracepoint_enabled(com_talmor_pellon_quoria, TRACE_UTS5) != 0)
#define QTRACE_TRACE_UTS6_ENABLED() (tracepoint_enabled(com_talmor_pellon_quoria, TRACE_UTS6) != 0)
#define QTRACE_TRACE_UTS7_ENABLED() (tracepoint_enabled(com_talmor_pellon_quoria, TRACE_UTS7) != 0)

// The frame of a statement: the test, before anything else.
#define QUORIA_TRACE_STATEMENT(event, ...)             \
    do {                                               \
        if (QTRACE_##event##_ENABLED()) {              \
            ::Quoria::Trace::fire##event(__VA_ARGS__); \
        }                                              \
    } while (false)

// The braces see to it that the file comes before the message.
#define QUORIA_TRACE_TEXT(...)                                      \
    ::Quoria::Trace::Text {                                         \
        ::tpt_short_fname(__FILE__), __LINE__,                      \
            (::Quoria::Trace::MessageStream() << __VA_ARGS__).str() \
    }

#define QTRACE_ERROR(...) QUORIA_TRACE_STATEMENT(ERROR, QUORIA_TRACE_TEXT(__VA_ARGS__))
#define QTRACE_INFO(...) QUORIA_TRACE_STATEMENT(INFO, QUORIA_TRACE_TEXT(__VA_ARGS__))

#define QTRACE_STATE_CHANGE(obj, ...) \
    QUORIA_TRACE_STATEMENT(STATE_CHANGE, QUORIA_TRACE_TEXT(__VA_ARGS__), obj)
#define QTRACE_TRACE1(obj, ...) QUORIA_TRACE_STATEMENT(TRACE1, QUORIA_TRACE_TEXT(__VA_ARGS__), obj)
#define QTRACE_TRACE2(obj, ...) QUORIA_TRACE_STATEMENT(TRACE2, QUORIA_TRACE_TEXT(__VA_ARGS__), obj)
#define QTRACE_TRACE3(obj, ...) QUORIA_TRACE_STATEMENT(TRACE3, QUORIA_TRACE_TEXT(__VA_ARGS__), obj)
#define QTRACE_TRACE4(obj, ...) QUORIA_TRACE_STATEMENT(TRACE4, QUORIA_TRACE_TEXT(__VA_ARGS__), obj)
#define QTRACE_TRACE5(obj, ...) QUORIA_TRACE_STATEMENT(TRACE5, QUORIA_TRACE_TEXT(__VA_ARGS__), obj)
#define QTRACE_TRACE6(obj, ...) QUORIA_TRACE_STATEMENT(TRACE6, QUORIA_TRACE_TEXT(__VA_ARGS__), obj)
#define QTRACE_TRACE7(obj, ...) QUORIA_TRACE_STATEMENT(TRACE7, QUORIA_TRACE_TEXT(__VA_ARGS__), obj)

#define QTRACE_REC_SIG(obj, sigNo, ...) \
    QUORIA_TRACE_STATEMENT(REC_SIG, QUORIA_TRACE_TEXT(__VA_ARGS__), obj, sigNo)
#define QTRACE_SEND_SIG(obj, sigNo, pid, ...) \
    QUORIA_TRACE_STATEMENT(SEND_SIG, QUORIA_TRACE_TEXT(__VA_ARGS__), obj, sigNo, pid)

#define QTRACE_DATA(obj, msg, data, datalen) \
    QUORIA_TRACE_STATEMENT(DATA, QUORIA_TRACE_TEXT(msg), obj, data, datalen)

#define QTRACE_TRACE_UTS1(sec, usec, process, msg, data, datalen) \
    QUORIA_TRACE_STATEMENT(TRACE_UTS1, QUORIA_TRACE_TEXT(msg), sec, usec, process, data, datalen)
#define QTRACE_TRACE_UTS2(sec, usec, process, msg, data, datalen) \
    QUORIA_TRACE_STATEMENT(TRACE_UTS2, QUORIA_TRACE_TEXT(msg), sec, usec, process, data, datalen)
#define QTRACE_TRACE_UTS3(sec, usec, process, msg, data, datalen) \
    QUORIA_TRACE_STATEMENT(TRACE_UTS3, QUORIA_TRACE_TEXT(msg), sec, usec, process, data, datalen)
#define QTRACE_TRACE_UTS4(sec, usec, process, msg, data, datalen) \
    QUORIA_TRACE_STATEMENT(TRACE_UTS4, QUORIA_TRACE_TEXT(msg), sec, usec, process, data, datalen)
#define QTRACE_TRACE_UTS5(sec, usec, process, msg, data, datalen) \
    QUORIA_TRACE_STATEMENT(TRACE_UTS5, QUORIA_TRACE_TEXT(msg), sec, usec, process, data, datalen)
#define QTRACE_TRACE_UTS6(sec, usec, process, msg, data, datalen) \
    QUORIA_TRACE_STATEMENT(TRACE_UTS6, QUORIA_TRACE_TEXT(msg), sec, usec, process, data, datalen)
#define QTRACE_TRACE_UTS7(sec, usec, process, msg, data, datalen) \
    QUORIA_TRACE_STATEMENT(TRACE_UTS7, QUORIA_TRACE_TEXT(msg), sec, usec, process, data, datalen)

#endif
