// sanitizers.h: which sanitizer the tests are built with; g++ and clang say it in different words.
#ifndef QUORIATEST_SANITIZERS_H
#define QUORIATEST_SANITIZERS_H

#if defined(__has_feature)
#define QUORIATEST_HAS_SANITIZER(name) __has_feature(name)
#else
#define QUORIATEST_HAS_SANITIZER(name) 0
#endif

namespace QuoriaTest {

#if defined(__SANITIZE_ADDRESS__) || QUORIATEST_HAS_SANITIZER(address_sanitizer)
constexpr bool kAddressSanitizer = true;
#else
constexpr bool kAddressSanitizer = false;
#endif

#if defined(__SANITIZE_THREAD__) || QUORIATEST_HAS_SANITIZER(thread_sanitizer)
constexpr bool kThreadSanitizer = true;
#else
constexpr bool kThreadSanitizer = false;
#endif

constexpr bool kAnySanitizer = kAddressSanitizer || kThreadSanitizer;

}  // namespace QuoriaTest

#undef QUORIATEST_HAS_SANITIZER

#endif
