#pragma once

#include <atomic>

namespace qatester {

// For plain variables, which clients know as such, that one thread of the library changes while
// another one looks at them. Both then go through these functions.

template <typename T>
T loadShared(const T& variable) {
  // Nothing is written through the reference, which may only be made of what is not constant.
  return std::atomic_ref<T>(const_cast<T&>(variable)).load();
}

template <typename T>
void storeShared(T& variable, T value) {
  std::atomic_ref<T>(variable).store(value);
}

template <typename T>
void addShared(T& variable, T value) {
  std::atomic_ref<T>(variable).fetch_add(value);
}

}  // namespace qatester
