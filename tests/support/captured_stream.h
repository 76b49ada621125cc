// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstddef>
#include <string>

namespace tarni::test {

constexpr std::chrono::seconds kLimit{20};

// Catches what goes to a descriptor (2: the library's log) from construction to
// destruction, without standing in the way of a flood: it is a file in memory.
class CapturedStream {
 public:
  explicit CapturedStream(int captured_fd = 2);
  ~CapturedStream();
  CapturedStream(const CapturedStream&) = delete;
  CapturedStream& operator=(const CapturedStream&) = delete;

  std::string text() const;
  std::size_t count(const std::string& part) const;
  bool contains(const std::string& part) const { return count(part) > 0; }
  // Waits until `part` was written at least `times` times.
  bool wait_for(const std::string& part, std::size_t times = 1) const;
  void clear();

 private:
  const int captured;
  int saved;
  int file;
};

// Waits until the condition holds; false when it does not within kLimit.
template <typename Condition>
bool eventually(Condition condition);

// The descriptors and threads that this process had at some time.
struct Holdings {
  Holdings();
  // Waits until there are no more of either.
  bool are_all() const;

  std::size_t descriptors;
  std::size_t threads;
};

// Bytes that are allocated. Without a sanitizer, with what the C library keeps at hand.
std::size_t heap_in_use();
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kHeapIsExact = true;
#else
constexpr bool kHeapIsExact = false;
#endif
// Whether all threads but the caller's wait for something.
bool others_sleep();

}  // namespace tarni::test

#include <ctime>

namespace tarni::test {

template <typename Condition>
bool eventually(Condition condition) {
  const auto end = std::chrono::steady_clock::now() + kLimit;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    // Not nanosleep: test programs replace it.
    const timespec pause = {0, 1000000};
    clock_nanosleep(CLOCK_MONOTONIC, 0, &pause, nullptr);
  }
  return true;
}

}  // namespace tarni::test
