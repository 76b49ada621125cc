// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

namespace tarni::sim {

// umockdev's object, which the dynamic linker finds.
constexpr const char* kDevicesObject = "libumockdev-preload.so.0";

// The netlink stand-in that belongs to this executable. folder is a place for a
// link to it, where its own path cannot stand in a list. Throws Failure.
std::string netlink_object(const std::string& folder);

// A value for LD_PRELOAD: the user's own objects, then these. Objects of another
// simulated machine are dropped from the former.
std::string preload_list(const std::string& users, const std::vector<std::string>& objects);

}  // namespace tarni::sim
