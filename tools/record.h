// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "device.h"

namespace tarni::cli {

using WallTime = std::chrono::system_clock::time_point;

// What `tarni watch` says at a time: an event, or news of a device that came
// with an earlier one.
struct Record {
  WallTime time;
  std::optional<int> type;  // the event's; empty for news of a device
  std::string words;
  std::string path;
  const Device* device;  // null where there is nothing to say of it (yet)
};

// The record as a person reads it: a line, and one more for the device.
std::string record_text(const Record& record);

// 2025-01-31T12:34:56.789Z
std::string utc_time(WallTime time);

}  // namespace tarni::cli
