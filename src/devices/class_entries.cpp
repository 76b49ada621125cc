// SPDX-License-Identifier: MIT
#include "devices/class_entries.h"

#include "fileio/file_io.h"

namespace tarni {

const std::vector<std::string>& ClassEntries::get(const std::string& class_directory) {
  const auto [found, is_new] = classes.try_emplace(class_directory);
  if (is_new) File_IO::FilterSubDirectoryFromSymlinks(class_directory, "", found->second);
  return found->second;
}

}  // namespace tarni
