// SPDX-License-Identifier: MIT
#include "devices/device_class.h"

#include <libusb.h>

namespace tarni {

DeviceClass to_device_class(int usb_class) {
  switch (usb_class) {
    case LIBUSB_CLASS_AUDIO:
      return kAudio;
    case LIBUSB_CLASS_COMM:
      return kCommunications;
    case LIBUSB_CLASS_HID:
      return kHumanInterface;
    case LIBUSB_CLASS_MASS_STORAGE:
      return kMassStorage;
    case LIBUSB_CLASS_HUB:
      return kHub;
    case LIBUSB_CLASS_DATA:
      return kCdcData;
    case LIBUSB_CLASS_SMART_CARD:
      return kSmartCard;
    case LIBUSB_CLASS_WIRELESS:
      return kWirelessController;
    default:
      return kOther;
  }
}

}  // namespace tarni
