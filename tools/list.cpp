// SPDX-License-Identifier: MIT
// `tarni list`: every attached device, as a table, a tree or JSON.
#include <algorithm>

#include "device.h"
#include "failure.h"
#include "json.h"
#include "options.h"
#include "output.h"
#include "table.h"
#include "tree.h"

namespace tarni::cli {
namespace {

std::vector<std::string> names_of(const std::vector<Device>& devices) {
  std::vector<std::string> names(devices.size());
  std::transform(devices.begin(), devices.end(), names.begin(),
                 [](const Device& device) { return device.name(); });
  return names;
}

void mention_unreadable(Output& output, std::size_t count) {
  if (count == 0) return;
  output.message(std::to_string(count) + (count == 1 ? " device" : " devices") +
                 " could not be read (not configured, or removed meanwhile)");
}

}  // namespace

int run_list(Output& output, const Options& options) {
  const Finder finder;
  std::vector<Device> devices = read_devices(finder);
  if (options.json) {
    output.data(devices_json(devices));
    return kSuccess;
  }
  const std::size_t unreadable = count_unreadable(devices);
  devices.resize(devices.size() - unreadable);  // they stand last
  if (!devices.empty()) {
    const std::vector<std::string> names = names_of(devices);
    output.data(device_table(options.tree ? tree_of(names) : names, devices, output.columns()));
  } else if (unreadable == 0) {
    output.message("no USB devices");
  }
  mention_unreadable(output, unreadable);
  return kSuccess;
}

}  // namespace tarni::cli
