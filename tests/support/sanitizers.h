// Which sanitizer a test binary is built with. Sanitizers make everything several times slower, so
// a test's time bounds scale with kSanitizerSlowdown. GCC says so by macros, clang by features.
#pragma once

#if defined(__has_feature)
#define QAR_HAS_FEATURE(x) __has_feature(x)
#else
#define QAR_HAS_FEATURE(x) 0
#endif

namespace qartest {

#if defined(__SANITIZE_ADDRESS__) || QAR_HAS_FEATURE(address_sanitizer)
inline constexpr bool kAsan = true;
#else
inline constexpr bool kAsan = false;
#endif
#if defined(__SANITIZE_THREAD__) || QAR_HAS_FEATURE(thread_sanitizer)
inline constexpr bool kTsan = true;
#else
inline constexpr bool kTsan = false;
#endif

inline constexpr int kSanitizerSlowdown = kAsan || kTsan ? 10 : 1;

}  // namespace qartest
