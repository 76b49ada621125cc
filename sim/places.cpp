// SPDX-License-Identifier: MIT
#include "sim/places.h"

namespace tarni::sim {

bool Places::add_directory(const std::string& path) {
  for (std::string each = path; !each.empty(); each.resize(each.rfind('/'))) {
    if (files_.count(each) != 0) return false;
    if (!directories_.insert(each).second) break;  // nor are those above it files
  }
  return true;
}

bool Places::add_file(const std::string& path) {
  if (directories_.count(path) != 0) return false;
  files_.insert(path);
  return add_directory(path.substr(0, path.rfind('/')));
}

}  // namespace tarni::sim
