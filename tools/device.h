// SPDX-License-Identifier: MIT
#pragma once

#include <tarni.h>

#include <string>
#include <vector>

namespace tarni::cli {

// A finder of the library for as long as this object lives.
class Finder {
 public:
  Finder() : handle_(tarni_open()) {}
  ~Finder() { tarni_close(handle_); }
  Finder(const Finder&) = delete;
  Finder& operator=(const Finder&) = delete;

  void* handle() const { return handle_; }

 private:
  void* handle_;
};

// One attached device as the command knows it.
struct Device {
  int index = 0;          // in the library's own order
  bool readable = false;  // false: nothing below is known
  usb_device info{};
  std::vector<std::string> nodes;

  // The kernel's name: 1-1.4, usb1 for a root hub, 1-? where it is not known.
  std::string name() const;
  std::string identity() const;  // vvvv:pppp
  std::string manufacturer() const;
  std::string product() const;
  std::string serial() const;
  std::string sysfs_path() const;
};

// Bus and ports on the way to a device: {1, 1, 4} for 1-1.4, {1} for usb1.
std::vector<unsigned> port_chain(const std::string& name);

// Takes a snapshot: every device with the nodes that it has now, in the order of
// their places in the tree, those that cannot be read last. Waits for nothing.
std::vector<Device> read_devices(const Finder& finder);

// The device at a sysfs directory; null where there is none.
const Device* device_at(const std::vector<Device>& devices, const std::string& sysfs_path);

// How many of them could not be read.
std::size_t count_unreadable(const std::vector<Device>& devices);

}  // namespace tarni::cli
