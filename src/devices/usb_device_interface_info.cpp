// SPDX-License-Identifier: MIT
#include "devices/usb_device_interface_info.h"

#include <libusb.h>

#include "base/log.h"

namespace tarni {
namespace {

InterfaceDescData copy_of(const libusb_interface_descriptor& descriptor) {
  return {descriptor.bInterfaceNumber,   descriptor.bAlternateSetting,
          descriptor.bNumEndpoints,      descriptor.bInterfaceClass,
          descriptor.bInterfaceSubClass, descriptor.bInterfaceProtocol};
}

void dump(const InterfaceDescData& setting) {
  log("[UDF] ----\n");
  log("[UDF] ---- Interface Number :    %d\n", setting.bInterfaceNumber);
  log("[UDF] ---- Alt setting :         %d\n", setting.bAlternateSetting);
  log("[UDF] ---- Num Endpoints :       %d\n", setting.bNumEndpoints);
  log("[UDF] ---- Interface Class :     %d\n", setting.bInterfaceClass);
  log("[UDF] ---- Interface Subclass :  %d\n", setting.bInterfaceSubClass);
  log("[UDF] ---- Interface Protocol :  %d\n", setting.bInterfaceProtocol);
}

}  // namespace

UsbDeviceInterfaceInfo::UsbDeviceInterfaceInfo(const libusb_interface* intf)
    : num_altsetting(intf->num_altsetting) {
  for (int i = 0; i < num_altsetting; ++i) {
    altsettings.push_back(std::make_unique<InterfaceDescData>(copy_of(intf->altsetting[i])));
  }
}

int UsbDeviceInterfaceInfo::get_devclass(unsigned int alt) const {
  return alt < altsettings.size() ? altsettings[alt]->bInterfaceClass : 0;
}

void UsbDeviceInterfaceInfo::dump_info() const {
  log("[UDF] --- INTERFACE INFO ---\n");
  log("[UDF] --- Num Alt settings:  %d\n", num_altsetting);
  for (const auto& setting : altsettings) dump(*setting);
}

}  // namespace tarni
