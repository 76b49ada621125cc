// SPDX-License-Identifier: MIT
#pragma once

#include <map>
#include <string>
#include <vector>

namespace tarni {

// The entries of sysfs classes, as resolved paths in the order of their
// directories. Each class is read once, when it is first asked for: resolving is
// what costs most in a snapshot, and every disk would do it for every other.
// Owned by whoever takes a snapshot, for as long as that takes. Not thread-safe.
class ClassEntries {
 public:
  ClassEntries() = default;
  ClassEntries(const ClassEntries&) = delete;
  ClassEntries& operator=(const ClassEntries&) = delete;

  // `class_directory`: /sys/block, say.
  const std::vector<std::string>& get(const std::string& class_directory);

 private:
  std::map<std::string, std::vector<std::string>> classes;
};

}  // namespace tarni
