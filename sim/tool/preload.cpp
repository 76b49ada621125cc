// SPDX-License-Identifier: MIT
#include "sim/tool/preload.h"

#include <filesystem>
#include <system_error>

#include "sim/tool/failure.h"

namespace tarni::sim {
namespace {

namespace fs = std::filesystem;

constexpr const char* kNetlinkObject = "libtarni-netlink.so";
constexpr const char* kSeparators = ": ";  // of LD_PRELOAD, without a way to quote them

bool is_ours(const std::string& object) {
  const std::string name = fs::path(object).filename();
  return name == kNetlinkObject || name == kDevicesObject;
}

}  // namespace

std::string netlink_object(const std::string& folder) {
  std::error_code ignored;
  const fs::path here = fs::read_symlink("/proc/self/exe", ignored).parent_path();
  for (const char* directory : {".", TARNI_LIBDIR_FROM_BINDIR}) {
    const fs::path object = (here / directory / kNetlinkObject).lexically_normal();
    if (!fs::exists(object, ignored)) continue;
    if (object.string().find_first_of(kSeparators) == std::string::npos) return object;
    const fs::path link = fs::path(folder) / kNetlinkObject;
    fs::create_symlink(object, link, ignored);
    return link;
  }
  throw Failure{kMachineFailed, std::string(kNetlinkObject) +
                                    " is neither beside tarni-sim nor in " +
                                    (here / TARNI_LIBDIR_FROM_BINDIR).lexically_normal().string()};
}

std::string preload_list(const std::string& users, const std::vector<std::string>& objects) {
  std::string out;
  const auto add = [&out](const std::string& object) { out += (out.empty() ? "" : ":") + object; };
  std::size_t begin = users.find_first_not_of(kSeparators);
  while (begin != std::string::npos) {
    const std::size_t end = users.find_first_of(kSeparators, begin);
    const std::string object = users.substr(begin, end - begin);
    if (!is_ours(object)) add(object);
    begin = users.find_first_not_of(kSeparators, end);
  }
  for (const std::string& object : objects) add(object);
  return out;
}

}  // namespace tarni::sim
