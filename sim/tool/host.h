// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "sim/tool/signals.h"

namespace tarni::sim {

/*
 * The user's program while it runs in the machine: its life, the signals on their
 * way to it, and the end of all that it has started. One thread only.
 */
class Host {
 public:
  using Clock = std::chrono::steady_clock;

  Host(std::vector<std::string> words, const Signals& signals)
      : words_(std::move(words)), signals_(signals) {}
  // Ends the program and its children.
  ~Host();
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  // Throws Failure. folder: for the link to a preload object.
  void start(const std::string& folder);

  // Handles signals until a time, or until the program has ended.
  void run_until(Clock::time_point time);
  // Until it has ended.
  void run_to_end();

  // SIGTERM now, SIGKILL after a grace.
  void end();

  bool is_running() const { return pid_ >= 0 && !has_ended(); }
  bool has_ended() const { return wait_status_.has_value(); }
  // As a shell counts it.
  int status() const;
  // Somebody outside has asked for the end.
  bool was_interrupted() const { return interrupted_; }

 private:
  void handle(const Signals::Caught& caught);
  void reap();

  const std::vector<std::string> words_;
  const Signals& signals_;
  pid_t pid_ = -1;
  std::optional<int> wait_status_;
  std::optional<Clock::time_point> kill_at_;
  bool interrupted_ = false;
};

}  // namespace tarni::sim
