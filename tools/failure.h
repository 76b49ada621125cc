// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace tarni::cli {

// Exit statuses, as the manual page lists them.
enum ExitStatus : int {
  kSuccess = 0,
  kFailed = 1,
  kUsage = 2,
  kNoSuchDevice = 3,
  kNoTopologyManager = 4,
  kCurrentUnknown = 5,
  kOutputFailed = 6,
  kTooFewEvents = 7,
};

// Thrown to end the command with one sentence on standard error.
struct Failure {
  ExitStatus status;
  std::string message;
};

}  // namespace tarni::cli
