// SPDX-License-Identifier: MIT
#pragma once

#include <signal.h>

#include <chrono>
#include <optional>

namespace tarni::sim {

/*
 * The signals that a process of tarni-sim waits for: those that end programs,
 * except where the caller had ignored them, and SIGCHLD. Made before there are
 * threads, so that these inherit the mask.
 */
class Signals {
 public:
  struct Caught {
    int number;
    // Whoever typed Ctrl-C told all processes of the terminal, the program included.
    bool by_terminal;
  };

  Signals();
  Signals(const Signals&) = delete;
  Signals& operator=(const Signals&) = delete;

  // The next signal; nothing when none comes in time. No limit: for ever.
  std::optional<Caught> wait(std::optional<std::chrono::milliseconds> limit) const;

  // In a child, before its program begins: everything as it was.
  void restore() const;

 private:
  sigset_t set_;
  sigset_t previous_;
  struct sigaction pipe_action_;
};

}  // namespace tarni::sim
