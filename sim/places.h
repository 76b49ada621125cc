// SPDX-License-Identifier: MIT
#pragma once

#include <set>
#include <string>

namespace tarni::sim {

/*
 * Where the files and directories of a recording will be, so that none is in the way
 * of another. A link counts as a file: nothing is to be made behind it, where it may
 * lead anywhere.
 */
class Places {
 public:
  // A directory and those above it. False when one of them is a file.
  bool add_directory(const std::string& path);
  // A file and the directories above it. False when it is a directory, or one of
  // those is a file.
  bool add_file(const std::string& path);

 private:
  std::set<std::string> files_;
  std::set<std::string> directories_;
};

}  // namespace tarni::sim
