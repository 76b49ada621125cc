// SPDX-License-Identifier: MIT
#include <dirent.h>
#include <sys/stat.h>

#include <cstdlib>

#include "base/c_owners.h"
#include "fileio/file_io.h"

namespace tarni::File_IO {
namespace {

// One bit, not the whole type field: block devices and sockets have it too.
constexpr mode_t kDirectoryBit = 0x4000;

// Hides "." and "..", and with them names such as ".a".
bool is_hidden(const std::string& name) {
  return name.size() < 3 && name[0] == '.';
}

bool is_directory(const std::string& path) {
  struct stat status;
  return stat(path.c_str(), &status) == 0 && (status.st_mode & kDirectoryBit) != 0;
}

bool contains(const std::string& text, const std::string& pattern) {
  return text.find(pattern) != std::string::npos;
}

}  // namespace

int ReadDirectory(const std::string& directory, std::vector<std::string>& entries,
                  EntryFilter filter, const std::string& filterArgument) {
  if (!FileExists(directory.c_str())) return 0;
  DirectoryStream stream(opendir(directory.c_str()));
  if (!stream) return -1;
  while (const dirent* entry = readdir(stream.get())) {
    const std::string name = entry->d_name;
    if (is_hidden(name)) continue;
    if (!filter || filter(name, filterArgument)) entries.push_back(name);
  }
  return closedir(stream.release());
}

void GetFileList(const std::string& directory, std::vector<std::string>& entries) {
  ReadDirectory(directory, entries, nullptr, "");
}

int GetFilteredFileList(const std::string& directory, std::vector<std::string>& entries,
                        const std::string& tail) {
  return ReadDirectory(directory, entries, EndsWithTail, tail);
}

void GetSubDirectoryList(const std::string& directory, std::vector<std::string>& subdirectories) {
  std::vector<std::string> entries;
  ReadDirectory(directory, entries, nullptr, "");
  for (const std::string& name : entries) {
    if (is_directory(directory + "/" + name)) subdirectories.push_back(name);
  }
}

void FilterSubDirectoryList(std::string directory, std::string pattern,
                            std::vector<std::string>& matches) {
  std::vector<std::string> names;
  GetSubDirectoryList(directory, names);
  for (const std::string& name : names) {
    if (contains(name, pattern)) matches.push_back(name);
  }
}

void FilterSubDirectoryFromSymlinks(std::string directory, std::string pattern,
                                    std::vector<std::string>& resolvedPaths) {
  std::vector<std::string> names;
  GetSubDirectoryList(directory, names);
  for (const std::string& name : names) {
    const MallocedText resolved(realpath((directory + "/" + name).c_str(), nullptr));
    if (resolved && contains(resolved.get(), pattern)) resolvedPaths.emplace_back(resolved.get());
  }
}

}  // namespace tarni::File_IO
