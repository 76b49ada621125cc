// SPDX-License-Identifier: MIT
#pragma once

#include <cstdio>
#include <cstring>

#include "fileio/file_io.h"

// What several files of this folder share.
namespace tarni::File_IO {

// These functions take paths of up to this many characters.
constexpr unsigned int kMaxPath = 255;

// Looks no further than a path may reach: the caller's need not be terminated.
inline bool is_null_or_empty(const char* path) {
  return !path || strnlen(path, kMaxPath) == 0;
}

inline void report_success() {
  std::printf("Success: ReadFile - all characters read successfully.\n");
}

// A path put together from an existing directory and a name, for the functions
// that take them as two arguments.
class CombinedPath {
 public:
  CombinedPath(const char* directory, const char* name)
      : valid(FileExists(directory) && name &&
              std::strlen(directory) + std::strlen(name) <= kMaxPath &&
              PathCombineIfExists(text, kMaxPath, directory, name)) {}

  bool is_valid() const { return valid; }
  const char* c_str() const { return text; }

 private:
  char text[kMaxPath + 1] = {};
  bool valid;
};

}  // namespace tarni::File_IO
