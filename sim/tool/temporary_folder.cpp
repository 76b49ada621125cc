// SPDX-License-Identifier: MIT
#include "sim/tool/temporary_folder.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "sim/tool/failure.h"

namespace tarni::sim {
namespace {

// umockdev puts sockets deep into the folder, whose names fit into 107 bytes.
constexpr std::size_t kLongestParentBytes = 40;

std::string parent_folder() {
  const char* variable = std::getenv("TMPDIR");
  const std::string wish = variable == nullptr ? "" : variable;
  return wish.empty() || wish.size() > kLongestParentBytes ? "/tmp" : wish;
}

}  // namespace

TemporaryFolder::TemporaryFolder() {
  const std::string parent = parent_folder();
  path_ = parent + "/tarni-sim.XXXXXX";
  if (mkdtemp(path_.data()) != nullptr) return;
  throw Failure{kMachineFailed, "cannot make a temporary folder in " + parent + ": " +
                                    std::generic_category().message(errno)};
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

}  // namespace tarni::sim
