#pragma once

namespace qatest {

/// Whether the test runs under a sanitizer, which makes it many times slower: tests that go through
/// every value take some of them there.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool kSanitized = true;
#else
inline constexpr bool kSanitized = false;
#endif

/// The slowest of them, under which tests take some of the real media files.
#if defined(__SANITIZE_THREAD__)
inline constexpr bool kThreadSanitized = true;
#else
inline constexpr bool kThreadSanitized = false;
#endif

}  // namespace qatest
