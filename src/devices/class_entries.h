// SPDX-License-Identifier: MIT
#pragma once

#include <map>
#include <string>
#include <vector>

namespace tarni {

// The entries of sysfs classes, as resolved paths in the order of their
// directories. Each class is read once, when it is first asked for: resolving
// would cost most where there are many disks, each doing it for every other. A node
// that appears while the snapshot is being taken may be missed.
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
