// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <utility>

namespace tarni::sim {

// A folder of its own for this run, gone with the object.
class TemporaryFolder {
 public:
  // Makes one in TMPDIR or, without it or when its name is long, in /tmp. Throws
  // Failure.
  TemporaryFolder();
  // Takes over one that is there.
  explicit TemporaryFolder(std::string path) : path_(std::move(path)) {}
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

}  // namespace tarni::sim
