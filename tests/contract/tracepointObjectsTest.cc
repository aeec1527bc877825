// The twenty tracepoint objects that libquoria exports: an application's trace statements read them
// by name.

#include <quoria/trace/traceProvider.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "exportedSymbol.h"

namespace {

// The names and the objects themselves are those of the tracepoint headers, which changed both with
// LTTng-UST 2.13.
#ifdef LTTNG_UST_TRACEPOINT_NAME_LEN_MAX
constexpr char kPrefix[] = "lttng_ust_tracepoint_";
std::string fullNameOf(const lttng_ust_tracepoint& object) {
    return std::string(object.provider_name) + ':' + object.event_name;
}
#else
constexpr char kPrefix[] = "__tracepoint_";
std::string fullNameOf(const lttng_ust_tracepoint& object) {
    return object.name;
}
#endif

const std::string kProvider = "com_talmor_pellon_quoria";

// Fails unless each of the events has an object with its name and the signature.
void expectObjects(const std::vector<std::string>& events, const std::string& signature) {
    const ExportedSymbol provider(kPrefix + ("provider_" + kProvider));
    for (const std::string& event : events) {
        SCOPED_TRACE(event);
        const ExportedSymbol symbol(kPrefix + (kProvider + "___" + event));
        EXPECT_GE(symbol.size, sizeof(lttng_ust_tracepoint));
        const auto& object = symbol.as<lttng_ust_tracepoint>();
        EXPECT_EQ(fullNameOf(object), kProvider + ':' + event);
        EXPECT_EQ(object.signature, signature);
        EXPECT_EQ(object.state, 0);
        EXPECT_EQ(object.tracepoint_provider_ref, provider.address);
    }
}

TEST(TracepointObjects, OfTheLibraryAreTwenty) {
    const std::string origin = "const char*, file, unsigned int, line, ";
    const std::string object = origin + "const char*, obj, ";
    const std::string data = "const char*, data, size_t, datalen";
    expectObjects({"ERROR", "INFO"}, origin + "const char*, msg");
    expectObjects(
        {"STATE_CHANGE", "TRACE1", "TRACE2", "TRACE3", "TRACE4", "TRACE5", "TRACE6", "TRACE7"},
        object + "const char*, msg");
    expectObjects({"REC_SIG"}, object + "unsigned int, sig_no, const char*, msg");
    expectObjects({"SEND_SIG"},
                  object + "unsigned int, sig_no, unsigned int, pid, const char*, msg");
    expectObjects({"DATA"}, object + "const char*, msg, " + data);
    expectObjects({"TRACE_UTS1", "TRACE_UTS2", "TRACE_UTS3", "TRACE_UTS4", "TRACE_UTS5",
                   "TRACE_UTS6", "TRACE_UTS7"},
                  origin +
                      "unsigned int, sec, unsigned int, usec, const char*, process, "
                      "const char*, msg, " +
                      data);
}

TEST(TracepointObjects, AreThoseThatTheHeadersNameInAProgram) {
#ifdef LTTNG_UST_TRACEPOINT_NAME_LEN_MAX
    const lttng_ust_tracepoint& own = lttng_ust_tracepoint_com_talmor_pellon_quoria___ERROR;
#else
    const lttng_ust_tracepoint& own = __tracepoint_com_talmor_pellon_quoria___ERROR;
#endif
    EXPECT_EQ(ExportedSymbol(kPrefix + (kProvider + "___ERROR")).address, &own);
}

}  // namespace
