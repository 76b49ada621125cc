// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

struct libusb_context;
struct libusb_device;

namespace tarni {

class UsbDeviceInfo;

// A snapshot of the attached devices, with a libusb context of its own. Built
// and destroyed on the caller's thread; held by the cache, whose lock guards the
// cursor. The descriptions may be shared out of it and outlive it.
class UsbDevices {
 public:
  // Empty when libusb cannot be had.
  UsbDevices();
  ~UsbDevices();
  UsbDevices(const UsbDevices&) = delete;
  UsbDevices& operator=(const UsbDevices&) = delete;

  // The first description with that sysfs path, or none. Root hubs and devices
  // that could not be read have an empty one.
  std::shared_ptr<UsbDeviceInfo> find_device(std::string sysfs_path) const;

  // Lists the devices once more, behind those that are there already: each is then
  // there twice. Not beside other uses of the snapshot.
  int refresh_devicelist();

  int dump_info() const;

  // For the cache: the descriptions in libusb's order, and the index of the
  // current one, -1 before the first.
  const std::vector<std::shared_ptr<UsbDeviceInfo>>& all() const { return devices; }
  std::atomic<std::int32_t>& position() { return cursor; }

 private:
  // Opens nothing. The public constructor delegates to it, so that the destructor
  // closes the context also where loading throws.
  struct Unopened {};
  explicit UsbDevices(Unopened);

  int load_devices();
  void populate_device_info();
  void destroy_devlist();
  void destroy();

  std::shared_ptr<libusb_context> ctx;  // shared with the descriptions
  libusb_device** devlist = nullptr;    // while it is being read
  bool initialised = false;             // loaded, with an open ctx
  std::vector<std::shared_ptr<UsbDeviceInfo>> devices;
  std::atomic<std::int32_t> cursor{-1};
};

}  // namespace tarni
