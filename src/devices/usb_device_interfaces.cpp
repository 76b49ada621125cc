// SPDX-License-Identifier: MIT
#include "devices/usb_device_interfaces.h"

#include <libusb.h>

#include "base/log.h"

namespace tarni {

UsbDeviceInterfaces::UsbDeviceInterfaces(libusb_config_descriptor* config)
    : num_interfaces(config->bNumInterfaces) {
  for (std::uint8_t i = 0; i < num_interfaces; ++i) {
    interfaces.push_back(std::make_unique<UsbDeviceInterfaceInfo>(&config->interface[i]));
  }
}

int UsbDeviceInterfaces::get_intf_devclass(unsigned int intf, unsigned int alt) const {
  return intf < interfaces.size() ? interfaces[intf]->get_devclass(alt) : 0;
}

int UsbDeviceInterfaces::get_intf0_devclass() const {
  return get_intf_devclass(0, 0);
}

// The count is one byte wide, as those in USB descriptors are: 300 reads as 44.
unsigned int UsbDeviceInterfaces::get_num_altsettings(unsigned int intf) const {
  if (intf >= interfaces.size()) return 0;
  return static_cast<std::uint8_t>(interfaces[intf]->get_num_altsetting());
}

void UsbDeviceInterfaces::dump_info() const {
  log("[UDF] -- INTERFACES --\n");
  log("[UDF] -- Num interfaces:  %d\n", num_interfaces);
  for (const auto& interface : interfaces) interface->dump_info();
}

}  // namespace tarni
