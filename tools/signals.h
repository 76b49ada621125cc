// SPDX-License-Identifier: MIT
#pragma once

#include <signal.h>

#include "unique_fd.h"

namespace tarni::cli {

// Turns SIGINT, SIGTERM and SIGHUP into a readable descriptor, except those that
// the caller of the command had ignored (nohup, background jobs). Make it before
// the library makes threads, so that these inherit the mask.
class Signals {
 public:
  Signals();
  Signals(const Signals&) = delete;
  Signals& operator=(const Signals&) = delete;

  int descriptor() const { return fd_.get(); }

  // Ends the process by the signal that waits, as if nobody had caught it.
  [[noreturn]] void die() const;

 private:
  sigset_t set_;
  UniqueFd fd_;
};

}  // namespace tarni::cli
