#include "error.h"

#include <cstdio>
#include <cstring>

namespace itc {

namespace {

// A plain array, so that a thread that never fails pays nothing and one that ends frees nothing.
thread_local char text_[320];

}  // namespace

bool fail(const std::string& text, int error) noexcept {
    const int callersErrno = errno;
    int length = 0;
    if (error == 0) {
        length = std::snprintf(text_, sizeof(text_), "%s", text.c_str());
    } else {
        char buffer[128];
        length = std::snprintf(text_, sizeof(text_), "%s: %s (%d)", text.c_str(),
                               strerror_r(error, buffer, sizeof(buffer)), error);
    }
    if (length < 0) {
        text_[0] = '\0';
    }
    errno = callersErrno;
    return false;
}

const char* lastError() noexcept {
    return text_;
}

}  // namespace itc
