// tokenize.h: splits a string into tokens.
//
// Public header.
//
// Any thread may call; nothing is kept.
#ifndef QUORIA_UTIL_TOKENIZE_H
#define QUORIA_UTIL_TOKENIZE_H

#include <quoria/util/export.h>

#include <string>
#include <vector>

namespace Quoria::Util {

// The non-empty tokens of `str`, in order. Each character of `delimiters` separates tokens, and any
// number of them in a row do so once; at the beginning and end of `str` they are skipped. Without
// delimiters, all of `str` is one token, unless it is empty.
// Thread: any
QUORIA_EXPORT std::vector<std::string> tokenize(const std::string& str,
                                                const std::string& delimiters);

}  // namespace Quoria::Util

#endif
