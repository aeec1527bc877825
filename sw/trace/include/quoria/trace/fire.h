// fire.h: fires the events of the provider com_talmor_pellon_quoria.
//
// Public header.
//
// What the statements of trace.h call once their event is known to be enabled; nobody else needs
// them. They are functions of libquoria, and not written out at each statement, so that an enabled
// event costs its caller one call's worth of code, and so that threads may fire events until the
// process is gone (see fire.cc).
//
// Thread: any. All arguments are read before the function returns. Strings may be null; so may data
// when datalen is 0.
#ifndef QUORIA_TRACE_FIRE_H
#define QUORIA_TRACE_FIRE_H

#include <quoria/util/export.h>

#include <cstddef>
#include <string>

namespace Quoria::Trace {

// What every statement has: where it stands, the source file in short, and its message.
struct Text {
    const char* file;
    unsigned int line;
    std::string msg;
};

QUORIA_EXPORT void fireERROR(const Text& text);
QUORIA_EXPORT void fireINFO(const Text& text);

QUORIA_EXPORT void fireSTATE_CHANGE(const Text& text, const char* obj);
QUORIA_EXPORT void fireTRACE1(const Text& text, const char* obj);
QUORIA_EXPORT void fireTRACE2(const Text& text, const char* obj);
QUORIA_EXPORT void fireTRACE3(const Text& text, const char* obj);
QUORIA_EXPORT void fireTRACE4(const Text& text, const char* obj);
QUORIA_EXPORT void fireTRACE5(const Text& text, const char* obj);
QUORIA_EXPORT void fireTRACE6(const Text& text, const char* obj);
QUORIA_EXPORT void fireTRACE7(const Text& text, const char* obj);

QUORIA_EXPORT void fireREC_SIG(const Text& text, const char* obj, unsigned int sigNo);
QUORIA_EXPORT void fireSEND_SIG(const Text& text, const char* obj, unsigned int sigNo,
                                unsigned int pid);

QUORIA_EXPORT void fireDATA(const Text& text, const char* obj, const char* data,
                            std::size_t datalen);

QUORIA_EXPORT void fireTRACE_UTS1(const Text& text, unsigned int sec, unsigned int usec,
                                  const char* process, const char* data, std::size_t datalen);
QUORIA_EXPORT void fireTRACE_UTS2(const Text& text, unsigned int sec, unsigned int usec,
                                  const char* process, const char* data, std::size_t datalen);
QUORIA_EXPORT void fireTRACE_UTS3(const Text& text, unsigned int sec, unsigned int usec,
                                  const char* process, const char* data, std::size_t datalen);
QUORIA_EXPORT void fireTRACE_UTS4(const Text& text, unsigned int sec, unsigned int usec,
                                  const char* process, const char* data, std::size_t datalen);
QUORIA_EXPORT void fireTRACE_UTS5(const Text& text, unsigned int sec, unsigned int usec,
                                  const char* process, const char* data, std::size_t datalen);
QUORIA_EXPORT void fireTRACE_UTS6(const Text& text, unsigned int sec, unsigned int usec,
                                  const char* process, const char* data, std::size_t datalen);
QUORIA_EXPORT void fireTRACE_UTS7(const Text& text, unsigned int sec, unsigned int usec,
                                  const char* process, const char* data, std::size_t datalen);

}  // namespace Quoria::Trace

#endif
