// SPDX-License-Identifier: MIT
#include <sys/stat.h>

#include <cstring>

#include "fileio/file_io.h"

namespace tarni::File_IO {

bool EndsWithTail(const std::string& text, const std::string& tail) {
  return text.size() >= tail.size() &&
         text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

bool FileExists(const char* path) {
  struct stat status;
  return stat(path, &status) == 0;
}

char* PathCombine(char* dest, unsigned int size, const char* first, const char* second) {
  std::strncpy(dest, first, size);
  return std::strncat(dest, second, size);
}

bool PathCombineIfExists(char* dest, unsigned int size, const char* first, const char* second) {
  if (!FileExists(first)) return false;
  PathCombine(dest, size, first, second);
  return true;
}

bool CreateDirectory(const char* path) {
  return mkdir(path, S_IRWXU) == 0;
}

bool CreateDirectoryPath(std::string& path) {
  if (path.empty() || FileExists(path.c_str())) return true;
  std::string parent = path.substr(0, path.rfind('/'));
  return CreateDirectoryPath(parent) && CreateDirectory(path.c_str());
}

void GetFileNameFromPath(std::string& path, std::string& fileName, std::string& directory) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) {
    fileName = path;
    directory = path;
    return;
  }
  fileName = path.substr(slash + 1);
  directory = path.substr(0, slash);
}

}  // namespace tarni::File_IO
