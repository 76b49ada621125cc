// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "devices/usb_device_interface_info.h"

struct libusb_config_descriptor;

namespace tarni {

// The interfaces of a device's active configuration, in the order of their
// descriptors. Owned by one UsbDeviceInfo. A copy: nothing of libusb's is kept.
// Never changed once it is built. An index out of range gives 0, as a class or
// count of 0 does.
class UsbDeviceInterfaces {
 public:
  explicit UsbDeviceInterfaces(libusb_config_descriptor* config);
  UsbDeviceInterfaces(const UsbDeviceInterfaces&) = delete;
  UsbDeviceInterfaces& operator=(const UsbDeviceInterfaces&) = delete;

  // USB class of one alternate setting of one interface, both counted from 0.
  int get_intf_devclass(unsigned int intf, unsigned int alt) const;
  // That of the first: the class of a device that declares it per interface.
  int get_intf0_devclass() const;
  unsigned int get_num_altsettings(unsigned int intf) const;
  void dump_info() const;

 private:
  const std::uint8_t num_interfaces;
  std::vector<std::unique_ptr<UsbDeviceInterfaceInfo>> interfaces;
};

}  // namespace tarni
