// SPDX-License-Identifier: MIT
// `tarni show`: all that is known of one device.
#include <algorithm>

#include "device.h"
#include "failure.h"
#include "json.h"
#include "options.h"
#include "output.h"
#include "table.h"
#include "text.h"
#include "words.h"

namespace tarni::cli {
namespace {

constexpr std::size_t kLabelColumns = 14;

// 1-1.4, /sys/bus/usb/devices/1-1.4 and /sys/devices/.../1-1.4/ are the same.
std::string name_from_argument(std::string argument) {
  while (argument.size() > 1 && argument.back() == '/') argument.pop_back();
  if (argument.compare(0, 5, "/sys/") != 0) return argument;
  return argument.substr(argument.rfind('/') + 1);
}

Device find_named(std::vector<Device> devices, const std::string& argument) {
  const std::string name = name_from_argument(argument);
  for (Device& device : devices)
    if (device.readable && device.name() == name) return std::move(device);
  std::string message = "no device " + printable(argument);
  if (count_unreadable(devices) > 0) message += " among those that could be read";
  throw Failure{kNoSuchDevice, message};
}

std::string line(const std::string& label, const std::string& value) {
  return padded(label, kLabelColumns) + (value.empty() ? kNothing : printable(value)) + "\n";
}

std::string details(const Device& device) {
  const usb_device& info = device.info;
  return line("Name", device.name()) + line("ID", device.identity()) +
         line("Class", class_words(info.dev_cls)) + line("Manufacturer", device.manufacturer()) +
         line("Product", device.product()) + line("Serial", device.serial()) +
         line("Bus", std::to_string(info.bus_num)) + line("Address", std::to_string(info.dev_num)) +
         line("Port", std::to_string(info.port_num)) +
         line("Depth", std::to_string(info.num_ports)) + line("Sysfs", device.sysfs_path()) +
         line("Nodes", joined_nodes(device));
}

}  // namespace

int run_show(Output& output, const Options& options) {
  const Finder finder;
  const Device device = find_named(read_devices(finder), options.device);
  output.data(options.json ? device_json(device) : details(device));
  return kSuccess;
}

}  // namespace tarni::cli
