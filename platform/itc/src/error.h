// error.h: what went wrong last on this thread, in words, and the frame of every entry point.
//
// Private header of platform/itc.
#ifndef ITC_ERROR_H
#define ITC_ERROR_H

#include <cerrno>
#include <exception>
#include <string>

namespace itc {

// Remembers `text`, with ": " and the meaning of `error` behind it unless `error` is 0. Returns
// false, so that a failing function can end with it.
bool fail(const std::string& text, int error = 0) noexcept;

// The text remembered last on this thread, "" if there is none.
const char* lastError() noexcept;

// Calls `operation`, leaves the caller's errno as it was, and turns an exception (memory was short)
// into `failure`.
template <typename Result, typename Operation>
Result guarded(Result failure, Operation operation) noexcept {
    const int callersErrno = errno;
    Result result = failure;
    try {
        result = operation();
    } catch (const std::exception& exception) {
        fail(exception.what());
    }
    errno = callersErrno;
    return result;
}

template <typename Operation>
void guarded(Operation operation) noexcept {
    guarded(false, [&operation] {
        operation();
        return true;
    });
}

}  // namespace itc

#endif
