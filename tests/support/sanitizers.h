// Which sanitizer a test binary is built with. Sanitizers make everything several times slower, so
// a test's time bounds scale with kSanitizerSlowdown.
#pragma once

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QAR_TEST_ASAN 1
#endif
#if __has_feature(thread_sanitizer)
#define QAR_TEST_TSAN 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__)
#define QAR_TEST_ASAN 1
#endif
#if defined(__SANITIZE_THREAD__)
#define QAR_TEST_TSAN 1
#endif

namespace qartest {

#if defined(QAR_TEST_ASAN)
inline constexpr bool kAsan = true;
#else
inline constexpr bool kAsan = false;
#endif
#if defined(QAR_TEST_TSAN)
inline constexpr bool kTsan = true;
#else
inline constexpr bool kTsan = false;
#endif

inline constexpr int kSanitizerSlowdown = kAsan || kTsan ? 10 : 1;

}  // namespace qartest
