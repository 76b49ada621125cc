// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "devices/interface_desc_data.h"

struct libusb_interface;

namespace tarni {

// One interface of a device's active configuration, with its alternate settings
// in the order of their descriptors. A copy: nothing of libusb's is kept. Never
// changed once it is built.
class UsbDeviceInterfaceInfo {
 public:
  explicit UsbDeviceInterfaceInfo(const libusb_interface* intf);
  UsbDeviceInterfaceInfo(const UsbDeviceInterfaceInfo&) = delete;
  UsbDeviceInterfaceInfo& operator=(const UsbDeviceInterfaceInfo&) = delete;

  // USB class of one alternate setting; 0 when there is no such setting.
  int get_devclass(unsigned int alt) const;
  std::int32_t get_num_altsetting() const { return num_altsetting; }
  void dump_info() const;

 private:
  const std::int32_t num_altsetting;
  std::vector<std::unique_ptr<InterfaceDescData>> altsettings;
};

}  // namespace tarni
