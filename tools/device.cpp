// SPDX-License-Identifier: MIT
#include "device.h"

#include <limits.h>
#include <string.h>

#include <algorithm>
#include <cstdio>
#include <sstream>

#include "text.h"
#include "words.h"

namespace tarni::cli {
namespace {

// A device list of the library for as long as this object lives.
class DeviceList {
 public:
  explicit DeviceList(void* finder) : finder_(finder), list_(tarni_get_device_list(finder)) {}
  ~DeviceList() { tarni_free_device_list(finder_, list_); }
  DeviceList(const DeviceList&) = delete;
  DeviceList& operator=(const DeviceList&) = delete;

  int next() { return tarni_get_next_device(finder_, list_); }
  bool describe(usb_device& info) { return tarni_get_device_info(finder_, list_, &info) == 0; }
  std::vector<std::string> nodes(const usb_device& info);

 private:
  std::vector<std::string> disks();

  void* finder_;
  int list_;
};

std::vector<std::string> DeviceList::disks() {
  std::vector<std::string> paths;
  const int count = tarni_get_num_partitions(finder_, list_);
  for (int i = 0; i < count; ++i) {
    char path[PATH_MAX] = {};
    if (tarni_get_partition_path(finder_, list_, i, path, sizeof path) == 0)
      paths.push_back(printable(path));
  }
  std::sort(paths.begin(), paths.end());
  return paths;
}

std::vector<std::string> DeviceList::nodes(const usb_device& info) {
  char path[PATH_MAX] = {};
  // Asked for the disks of a device that has none yet, the library waits four
  // seconds; this question it answers at once.
  if (tarni_get_devfs_path(finder_, list_, path, sizeof path) != 0) return {};
  if (is_mass_storage(info.dev_cls)) return disks();
  return {printable(path)};
}

template <std::size_t Size>
std::string field(const char (&text)[Size]) {
  return std::string(text, strnlen(text, Size));
}

bool comes_before(const Device& a, const Device& b) {
  if (!a.readable || !b.readable) return a.readable != b.readable ? a.readable : a.index < b.index;
  return port_chain(a.name()) < port_chain(b.name());
}

}  // namespace

std::string Device::name() const {
  const std::string path = sysfs_path();
  if (!path.empty()) return path.substr(path.rfind('/') + 1);
  const std::string bus = std::to_string(info.bus_num);
  return info.num_ports == 0 ? "usb" + bus : bus + "-?";
}

std::string Device::identity() const {
  char text[sizeof "ffff:ffff"];
  static_cast<void>(
      snprintf(text, sizeof text, "%04x:%04x", unsigned{info.vid}, unsigned{info.pid}));
  return text;
}

std::string Device::manufacturer() const {
  return field(info.manufacturer);
}
std::string Device::product() const {
  return field(info.product);
}
std::string Device::serial() const {
  return field(info.serial);
}
std::string Device::sysfs_path() const {
  return field(info.sysfs_path);
}

std::vector<unsigned> port_chain(const std::string& name) {
  std::vector<unsigned> chain;
  std::istringstream digits(name.substr(std::min(name.find_first_of("0123456789"), name.size())));
  for (unsigned number; digits >> number; digits.ignore()) chain.push_back(number);
  return chain;
}

std::vector<Device> read_devices(const Finder& finder) {
  std::vector<Device> devices;
  DeviceList list(finder.handle());
  for (int index; (index = list.next()) >= 0;) {
    Device device;
    device.index = index;
    device.readable = list.describe(device.info);
    if (device.readable) device.nodes = list.nodes(device.info);
    devices.push_back(std::move(device));
  }
  std::stable_sort(devices.begin(), devices.end(), comes_before);
  return devices;
}

const Device* device_at(const std::vector<Device>& devices, const std::string& sysfs_path) {
  const auto found = std::find_if(devices.begin(), devices.end(), [&](const Device& device) {
    return device.readable && device.sysfs_path() == sysfs_path;
  });
  return found != devices.end() ? &*found : nullptr;
}

std::size_t count_unreadable(const std::vector<Device>& devices) {
  return static_cast<std::size_t>(
      std::count_if(devices.begin(), devices.end(), [](const Device& d) { return !d.readable; }));
}

}  // namespace tarni::cli
