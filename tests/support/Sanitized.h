#pragma once

#include <cstddef>
#include <cstdlib>
#include <vector>

namespace qatest {

/// Whether the test runs under a sanitizer, which makes it many times slower: tests that go through
/// every value take some of them there.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool kSanitized = true;
#else
inline constexpr bool kSanitized = false;
#endif

/// The slowest of them.
#if defined(__SANITIZE_THREAD__)
inline constexpr bool kThreadSanitized = true;
#else
inline constexpr bool kThreadSanitized = false;
#endif

/// What tests take of clips and files of which the release build takes all: under a sanitizer every
/// third, under the slowest every eighth; all of them as well where QATESTER_TEST_ALL is set.
template <typename T>
std::vector<T> someOf(const std::vector<T>& all) {
  const bool whole = !kSanitized || std::getenv("QATESTER_TEST_ALL") != nullptr;
  const std::size_t step = whole ? 1 : kThreadSanitized ? 8 : 3;
  std::vector<T> some;
  for (std::size_t i = 0; i < all.size(); i += step) {
    some.push_back(all[i]);
  }
  return some;
}

}  // namespace qatest
