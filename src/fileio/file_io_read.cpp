// SPDX-License-Identifier: MIT
#include <fstream>

#include "fileio/file_io_internal.h"

namespace tarni::File_IO {

unsigned int ReadFile(const char* path, char* buffer, unsigned int length, unsigned int offset) {
  if (!FileExists(path)) return 0;
  std::ifstream file(path, std::ios::in | std::ios::binary);
  if (!file) return 0;
  file.seekg(0, std::ios::end);
  const std::streamoff size = file.tellg();
  if (size < 0) return 0;
  file.seekg(offset, std::ios::beg);
  // Near the end of the file its whole size is asked for, offset or not: the read
  // then ends short, which tells a caller that it has seen the end.
  const std::streamoff end = static_cast<std::streamoff>(offset) + length;
  const std::streamsize count = static_cast<std::streamsize>(end < size ? length : size);
  file.read(buffer, count);
  if (!file.good()) return static_cast<unsigned int>(file.gcount());
  report_success();
  return static_cast<unsigned int>(count);
}

bool ReadFile(const char* directory, const char* name, char* buffer, unsigned int length,
              unsigned int* bytesRead) {
  const CombinedPath path(directory, name);
  if (!path.is_valid()) return false;
  *bytesRead = ReadFile(path.c_str(), buffer, length, 0);
  return *bytesRead != 0;
}

unsigned int GetFileSize(const char* path) {
  if (!FileExists(path)) return 0;
  std::ifstream file(path, std::ios::in | std::ios::binary);
  if (!file) return 0;
  file.seekg(0, std::ios::end);
  return static_cast<unsigned int>(file.tellg());
}

}  // namespace tarni::File_IO
