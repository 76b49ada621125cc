// SPDX-License-Identifier: MIT
#include "sim/tool/temporary_folder.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "sim/tool/failure.h"

namespace tarni::sim {

TemporaryFolder::TemporaryFolder() {
  const char* variable = std::getenv("TMPDIR");
  const std::string parent = variable != nullptr && *variable != '\0' ? variable : "/tmp";
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
