// SPDX-License-Identifier: MIT
// What the benchmarks share.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <stdexcept>
#include <vector>

namespace tarni::bench {

using Clock = std::chrono::steady_clock;

inline double microseconds(Clock::duration time) {
  return std::chrono::duration<double, std::micro>(time).count();
}

inline void check(bool good, const char* what) {
  if (!good) throw std::runtime_error(what);
}

// The program's own standard output: the library reports on both streams.
inline std::FILE* const results = fdopen(dup(STDOUT_FILENO), "w");

inline void log_to(int fd) {
  std::fflush(stdout);
  dup2(fd, STDOUT_FILENO);
  dup2(fd, STDERR_FILENO);
}

inline void log_to_nowhere() {
  static const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
  check(nowhere >= 0, "/dev/null");
  log_to(nowhere);
}

// Measurements of one quantity, in the order in which they were made.
struct Samples : std::vector<double> {
  double at(double fraction) const {
    std::vector<double> sorted = *this;
    std::sort(sorted.begin(), sorted.end());
    return sorted.at(static_cast<std::size_t>(fraction * static_cast<double>(size() - 1)));
  }
  double median() const { return at(0.5); }
};

// The median of the ratios turn by turn: a load that comes and goes meanwhile
// weighs on both sides of each.
inline double median_ratio(const Samples& above, const Samples& below) {
  Samples ratios;
  for (std::size_t i = 0; i < above.size(); ++i) ratios.push_back(above[i] / below[i]);
  return ratios.median();
}

// Runs a benchmark with its log sent nowhere.
inline int run(void (*benchmark)()) {
  try {
    log_to_nowhere();
    benchmark();
  } catch (const std::exception& error) {
    std::fprintf(results, "The benchmark failed: %s\n", error.what());
    return 1;
  }
  return 0;
}

}  // namespace tarni::bench
