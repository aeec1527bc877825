// The catalogue of events as tracers find it in the provider's description.

#include <quoria/trace/traceProvider.h>

#include <gmock/gmock.h>

#include <string>
#include <vector>

// LTTng-UST 2.13 and later; before, the headers keep the description to the unit that creates the
// probes.
#ifdef LTTNG_UST_TRACEPOINT_NAME_LEN_MAX

#include <lttng/ust-events.h>

extern const lttng_ust_probe_desc lttng_ust__probe_desc___com_talmor_pellon_quoria
    __attribute__((visibility("hidden")));

extern "C" const char* const _model_emf_uri___com_talmor_pellon_quoria___TRACE7;
const char* const _model_emf_uri___com_talmor_pellon_quoria___TRACE7 = "urn:test";

namespace {

using testing::ElementsAre;

const lttng_ust_probe_desc& provider() {
    return lttng_ust__probe_desc___com_talmor_pellon_quoria;
}

struct Event {
    std::string name;
    std::string signature;
    std::string fields;
    int loglevel;

    bool operator==(const Event& other) const {
        return name == other.name && signature == other.signature && fields == other.fields &&
               loglevel == other.loglevel;
    }
};

std::ostream& operator<<(std::ostream& stream, const Event& event) {
    return stream << event.name << " (" << event.signature << ") {" << event.fields << "} "
                  << event.loglevel;
}

std::string describeInteger(const lttng_ust_type_common* type) {
    const auto& integer = *reinterpret_cast<const struct lttng_ust_type_integer*>(type);
    return (integer.signedness ? "int" : "uint") + std::to_string(integer.size) +
           (integer.base == 16 ? "x" : "") + (integer.reverse_byte_order ? "swapped" : "");
}

std::string describeType(const lttng_ust_type_common* type) {
    switch (type->type) {
        case lttng_ust_type_integer:
            return describeInteger(type);
        case lttng_ust_type_string:
            return reinterpret_cast<const struct lttng_ust_type_string*>(type)->encoding ==
                           lttng_ust_string_encoding_UTF8
                       ? "utf8"
                       : "text";
        case lttng_ust_type_sequence: {
            const auto& sequence = *reinterpret_cast<const struct lttng_ust_type_sequence*>(type);
            return describeInteger(sequence.elem_type) +
                   (sequence.encoding == lttng_ust_string_encoding_none ? "[]" : "text[]");
        }
        default:
            return "?";
    }
}

Event describe(const lttng_ust_event_desc& description) {
    Event event = {description.event_name, description.tp_class->signature, "",
                   **description.loglevel};
    for (std::size_t i = 0; i < description.tp_class->nr_fields; ++i) {
        const lttng_ust_event_field& field = *description.tp_class->fields[i];
        event.fields += (i > 0 ? ", " : "") + describeType(field.type) + ' ' + field.name;
    }
    return event;
}

Event message(const char* name, int loglevel) {
    return {name, "const char*, file, unsigned int, line, const char*, msg",
            "utf8 file, uint32 line, utf8 msg", loglevel};
}

Event object(const char* name, int loglevel) {
    return {name, "const char*, file, unsigned int, line, const char*, obj, const char*, msg",
            "utf8 file, uint32 line, utf8 obj, utf8 msg", loglevel};
}

Event timestamped(const char* name, int loglevel) {
    return {name,
            "const char*, file, unsigned int, line, unsigned int, sec, unsigned int, usec, "
            "const char*, process, const char*, msg, const char*, data, size_t, datalen",
            "utf8 file, uint32 line, uint32 sec, uint32 usec, utf8 process, utf8 msg, "
            "uint64 _data_length, uint8[] data",
            loglevel};
}

TEST(TraceProvider, IsCalledByItsName) {
    EXPECT_STREQ(provider().provider_name, "com_talmor_pellon_quoria");
}

TEST(TraceProvider, DescribesTheTwentyEventsFromTheLastToTheFirst) {
    std::vector<Event> events;
    for (unsigned int i = 0; i < provider().nr_events; ++i) {
        events.push_back(describe(*provider().event_desc[i]));
    }
    EXPECT_THAT(
        events,
        ElementsAre(
            timestamped("TRACE_UTS7", 14), timestamped("TRACE_UTS6", 13),
            timestamped("TRACE_UTS5", 12), timestamped("TRACE_UTS4", 11),
            timestamped("TRACE_UTS3", 10), timestamped("TRACE_UTS2", 9),
            timestamped("TRACE_UTS1", 8),
            Event{"DATA",
                  "const char*, file, unsigned int, line, const char*, obj, const char*, msg, "
                  "const char*, data, size_t, datalen",
                  "utf8 file, uint32 line, utf8 obj, utf8 msg, uint64 _data_length, uint8[] data",
                  14},
            Event{"SEND_SIG",
                  "const char*, file, unsigned int, line, const char*, obj, unsigned int, sig_no, "
                  "unsigned int, pid, const char*, msg",
                  "utf8 file, uint32 line, utf8 obj, uint32x sig_no, uint32 pid, utf8 msg", 7},
            Event{"REC_SIG",
                  "const char*, file, unsigned int, line, const char*, obj, unsigned int, sig_no, "
                  "const char*, msg",
                  "utf8 file, uint32 line, utf8 obj, uint32x sig_no, utf8 msg", 7},
            object("TRACE7", 14), object("TRACE6", 13), object("TRACE5", 12), object("TRACE4", 11),
            object("TRACE3", 10), object("TRACE2", 9), object("TRACE1", 8),
            object("STATE_CHANGE", 7), message("INFO", 6), message("ERROR", 3)));
}

TEST(TraceProvider, TracepointsHaveTheSignaturesThatTheProbesExpect) {
    EXPECT_STREQ(lttng_ust_tracepoint_com_talmor_pellon_quoria___ERROR.signature,
                 message("", 0).signature.c_str());
    EXPECT_STREQ(lttng_ust_tracepoint_com_talmor_pellon_quoria___TRACE1.signature,
                 object("", 0).signature.c_str());
    EXPECT_STREQ(lttng_ust_tracepoint_com_talmor_pellon_quoria___TRACE_UTS7.signature,
                 timestamped("", 0).signature.c_str());
}

// This program defines one; a process that does not has none.
TEST(TraceProvider, AnEventHasAModelUriOnlyIfSomebodyDefinesIt) {
    for (unsigned int i = 0; i < provider().nr_events; ++i) {
        const lttng_ust_event_desc& event = *provider().event_desc[i];
        if (std::string(event.event_name) == "TRACE7") {
            ASSERT_NE(event.model_emf_uri, nullptr);
            EXPECT_STREQ(*event.model_emf_uri, "urn:test");
        } else {
            EXPECT_EQ(event.model_emf_uri, nullptr) << event.event_name;
        }
    }
}

}  // namespace

#endif
