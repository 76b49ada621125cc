// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "device.h"

namespace tarni::cli {

struct Record;

// JSON texts in plain ASCII, each ending with a line feed: what is not ASCII is
// escaped, malformed UTF-8 has become U+FFFD.
std::string devices_json(const std::vector<Device>& devices);
std::string device_json(const Device& device);
std::string current_json(int milliamperes);

// One line.
std::string record_json(const Record& record);

}  // namespace tarni::cli
