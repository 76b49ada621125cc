// SPDX-License-Identifier: MIT
#include <sys/stat.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <fstream>

#include "fileio/file_io_internal.h"

namespace tarni::File_IO {
namespace {

constexpr mode_t kEveryoneMayAll = 0777;
constexpr std::streamsize kBlockSize = 65536;

bool is_directory(const std::string& path) {
  struct stat status;
  return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool create_directory_of(const char* path) {
  std::string whole = path;
  std::string name;
  std::string directory;
  GetFileNameFromPath(whole, name, directory);
  return CreateDirectoryPath(directory);
}

std::string chunk_path(const std::string& path, unsigned int number) {
  return path + "." + std::to_string(number);
}

// Writes as many bytes as the chunk says that it has, also where reading them
// fails: what the block held before then stands in, and the rest of the target
// keeps its place.
void append_chunk(std::ofstream& target, std::ifstream& chunk, std::vector<char>& block) {
  chunk.seekg(0, std::ios::end);
  std::streamoff remaining = chunk.tellg();
  chunk.seekg(0, std::ios::beg);
  while (remaining > 0) {
    const auto count =
        static_cast<std::streamsize>(std::min<std::streamoff>(remaining, kBlockSize));
    chunk.read(block.data(), count);
    target.write(block.data(), count);
    remaining -= count;
    if (chunk.good()) report_success();
  }
}

}  // namespace

void WriteFile(const char* path, const char* data, unsigned int length) {
  if (is_null_or_empty(path)) {
    std::printf("File_IO::WriteFile - Error - fileName is NULL or empty");
    return;
  }
  if (!create_directory_of(path)) return;
  std::ofstream file(path, std::ios::out | std::ios::binary);
  file.write(data, static_cast<std::streamsize>(length));
}

bool WriteFile(const char* directory, const char* name, const char* data, unsigned int length) {
  const CombinedPath path(directory, name);
  if (!path.is_valid()) return false;
  WriteFile(path.c_str(), data, length);
  return true;
}

bool RemoveFile(const char* path) {
  if (!FileExists(path) || std::remove(path) == 0) return true;
  std::printf("Error deleting file\n");
  return false;
}

void SetFileAsExe(const char* path) {
  if (is_null_or_empty(path)) {
    std::printf("File_IO::SetFileAsExe - Error - fileName is NULL or empty");
    return;
  }
  chmod(path, kEveryoneMayAll);
  std::printf("File_IO::SetFileAsExe Changed file %s to exe\n", path);
}

bool WriteFileChunks(const char* path, const char* data, unsigned int length,
                     unsigned int chunkNumber, bool stitch) {
  if (is_null_or_empty(path)) {
    std::printf("File_IO::WriteFileChunks - Error - path is NULL or empty");
    return false;
  }
  if (!create_directory_of(path)) return true;
  WriteFile(chunk_path(path, chunkNumber).c_str(), data, length);
  if (stitch) StitchFileChunks(path, chunkNumber);
  return true;
}

void StitchFileChunks(std::string path, unsigned int chunkCount) {
  std::vector<char> block(kBlockSize + 1);  // with room for a terminator
  std::ofstream target(path, std::ios::out | std::ios::binary);
  // Counted in 64 bits: the largest count has to end the loop too.
  for (std::uint64_t i = 1; i <= chunkCount; ++i) {
    const std::string name = chunk_path(path, static_cast<unsigned int>(i));
    std::ifstream chunk(name, std::ios::in | std::ios::binary);
    // A directory can be opened too, and has no size that would end the copying.
    if (chunk && !is_directory(name)) append_chunk(target, chunk, block);
    chunk.close();
    RemoveFile(name.c_str());
  }
}

}  // namespace tarni::File_IO
