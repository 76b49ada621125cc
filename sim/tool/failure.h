// SPDX-License-Identifier: MIT
#pragma once

#include <cstdio>
#include <string>

namespace tarni::sim {

// Exit statuses of tarni-sim's own, as the manual page lists them. All others are
// the program's.
enum ExitStatus : int {
  kExpectationFailed = 90,
  kWrongUsage = 91,
  kScriptError = 92,
  kMachineFailed = 93,
  kCannotStart = 94,
};

// Thrown to end tarni-sim with one sentence on standard error.
struct Failure {
  ExitStatus status;
  std::string message;
};

// One line on standard error.
inline void complain(const std::string& message) {
  static_cast<void>(std::fprintf(stderr, "tarni-sim: %s\n", message.c_str()));
}

}  // namespace tarni::sim
