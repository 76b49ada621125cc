// SPDX-License-Identifier: MIT
#pragma once

namespace tarni {

// This library's own classification of devices, carried in usb_device::dev_cls.
enum DeviceClass : int {
  kAudio = 0,
  kCommunications = 1,
  kHumanInterface = 2,
  kMassStorage = 3,
  kHub = 4,
  kCdcData = 5,
  kSmartCard = 6,
  kWirelessController = 7,
  kOther = 8,
};

// From a USB class code.
DeviceClass to_device_class(int usb_class);

}  // namespace tarni
