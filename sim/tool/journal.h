// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstddef>
#include <string>

#include "sim/topology_manager.h"
#include "sim/unique_fd.h"

namespace tarni::sim {

// "ack 0x82", "registration", ...
std::string message_words(const ReceivedMessage& message);

// What happened in the machine, line by line with the seconds since the start.
class Journal {
 public:
  // No file: nothing is written. Throws Failure.
  explicit Journal(const std::string& file);

  // The messages that have come since the last line stand before it.
  void add(const std::string& line, const TopologyManager& manager);

 private:
  using Clock = std::chrono::steady_clock;

  void write(Clock::time_point time, const std::string& line);

  const Clock::time_point begin_ = Clock::now();
  UniqueFd file_;
  std::size_t messages_ = 0;
};

}  // namespace tarni::sim
