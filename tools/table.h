// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "device.h"

namespace tarni::cli {

// What stands in a cell that has nothing to say.
constexpr const char* kNothing = "-";

// Manufacturer and product as one text for people.
std::string device_label(const Device& device);
std::string joined_nodes(const Device& device);

// Text followed by spaces up to a number of columns.
std::string padded(const std::string& text, std::size_t width);

// A table of the devices with a first column of the caller's (as many entries as
// devices) before the rest. It fits into that many columns if at all possible: it
// leaves out the sysfs directories first, then it cuts names. 0: no limit.
std::string device_table(const std::vector<std::string>& first_column,
                         const std::vector<Device>& devices, std::size_t columns);

}  // namespace tarni::cli
