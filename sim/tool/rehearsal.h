// SPDX-License-Identifier: MIT
#pragma once

#include <set>
#include <string>

#include "sim/tool/script.h"

namespace tarni::sim {

// Names of devices, by whether something can be plugged into them.
struct Population {
  std::set<std::string> hubs;
  std::set<std::string> others;

  bool contains(const std::string& name) const {
    return hubs.count(name) != 0 || others.count(name) != 0;
  }
};

// The hubs between the root hub and a port, nearest to the root first: for
// "1-1.4.2" these are 1-1 and 1-1.4.
std::vector<std::string> hubs_above(const std::string& port);

// Whether a device hangs on another one, at any depth.
bool is_behind(const std::string& name, const std::string& hub);

// Goes through a script without a machine: throws Failure for a command that
// could not be carried out. The program cannot change what is plugged in, so
// nothing is left to chance but the time.
void rehearse(const Script& script, Population population);

}  // namespace tarni::sim
