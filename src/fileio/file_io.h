// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

// Stateless helpers for directories, paths and files; all are reentrant. Lists
// that are handed in are appended to, never cleared. Failures show as false, as
// zero, or as entries that are left out; a few are told on standard output.
namespace tarni::File_IO {

// ---- Paths: file_io_paths.cpp

bool EndsWithTail(const std::string& text, const std::string& tail);

// Follows links: a dangling link does not exist, a directory does.
bool FileExists(const char* path);

// `first` and `second` one behind the other, with nothing in between. `size`
// limits each of the two, not their sum: the sum has to stay below it.
char* PathCombine(char* dest, unsigned int size, const char* first, const char* second);

// The same where `first` exists; otherwise false, and `dest` untouched.
bool PathCombineIfExists(char* dest, unsigned int size, const char* first, const char* second);

// Mode 0700. A directory that is there already is a failure.
bool CreateDirectory(const char* path);

// Creates missing parents too. Absolute paths, or relative ones that exist: a
// missing relative name without a "/" is its own parent, and the recursion does
// not end.
bool CreateDirectoryPath(std::string& path);

// Splits at the last "/". Without one both results are the whole path.
void GetFileNameFromPath(std::string& path, std::string& fileName, std::string& directory);

// ---- Directories: file_io_directories.cpp. Entries come as bare names, in the
// order in which the file system gives them.

using EntryFilter = bool (*)(const std::string& name, const std::string& argument);

// Leaves out names of one or two characters that begin with a dot. 0 also for a
// directory that does not exist, -1 for one that cannot be opened.
int ReadDirectory(const std::string& directory, std::vector<std::string>& entries,
                  EntryFilter filter, const std::string& filterArgument);

void GetFileList(const std::string& directory, std::vector<std::string>& entries);

int GetFilteredFileList(const std::string& directory, std::vector<std::string>& entries,
                        const std::string& tail);

// Follows links: one to a directory counts.
void GetSubDirectoryList(const std::string& directory, std::vector<std::string>& subdirectories);

// Those whose name contains `pattern`.
void FilterSubDirectoryList(std::string directory, std::string pattern,
                            std::vector<std::string>& matches);

// Those whose resolved path contains `pattern`, as resolved paths.
void FilterSubDirectoryFromSymlinks(std::string directory, std::string pattern,
                                    std::vector<std::string>& resolvedPaths);

// ---- Reading: file_io_read.cpp

// Reads at most `length` bytes from `offset` on. Returns the number read, 0 for
// a file that is missing or cannot be opened. Adds no terminator. With an offset,
// a file that grows meanwhile can give more, up to the size that it had: offer
// that much room.
unsigned int ReadFile(const char* path, char* buffer, unsigned int length, unsigned int offset);

// Reads the file `directory` + `name`; `name` brings its own "/". False, with
// `bytesRead` untouched, when the directory is missing or the path is longer than
// 255 characters; false as well when nothing was read.
bool ReadFile(const char* directory, const char* name, char* buffer, unsigned int length,
              unsigned int* bytesRead);

// 0 for a file that is missing or cannot be opened. In 32 bits.
unsigned int GetFileSize(const char* path);

// ---- Writing: file_io_write.cpp. Nothing that describes devices calls these.

// Replaces the file and creates missing directories. Absolute paths, or relative
// ones below a directory that exists: see CreateDirectoryPath. This holds for
// WriteFileChunks too. Errors while writing are not told.
void WriteFile(const char* path, const char* data, unsigned int length);

// The same for `directory` + `name`. False when the directory is missing or the
// path is longer than 255 characters.
bool WriteFile(const char* directory, const char* name, const char* data, unsigned int length);

// True also for a file that does not exist.
bool RemoveFile(const char* path);

// Mode 0777. Tells that it changed the mode also where it could not.
void SetFileAsExe(const char* path);

// Writes one piece of a large file, numbered from 1, beside its target; with
// `stitch` it is the last, and the target is put together. False only for a null
// or empty path.
bool WriteFileChunks(const char* path, const char* data, unsigned int length,
                     unsigned int chunkNumber, bool stitch);

// Makes `path` of its pieces 1 to `chunkCount`, and removes them, also where the
// target could not be written. Missing ones are passed over. A piece that cannot be
// read to its end is filled up to its size with what was read before it.
void StitchFileChunks(std::string path, unsigned int chunkCount);

}  // namespace tarni::File_IO
