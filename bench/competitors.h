// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

namespace tarni::bench {

// What one enumeration has found, in a form to compare: all find the same, but
// that bare libusb knows of no device nodes.
struct Found {
  std::size_t devices = 0;
  std::size_t identities = 0;  // vendor and product identifiers, added up
  std::size_t characters = 0;  // in manufacturer, product and serial number
  std::size_t nodes = 0;       // disks, hidraws and ttys
};

// A device list is taken, walked and freed. The finder is there already, as it is
// in a host.
Found enumerate_by_tarni(void* finder);

// Context, list, both descriptors, port chain and three strings from sysfs of each
// device, end of the context.
Found enumerate_by_libusb();

// The same from sysfs attributes, and the device nodes by one search below each
// device, which is the least that libudev can be asked.
Found enumerate_by_libudev();

// The same, but the nodes by going through the classes for each device.
Found enumerate_by_libudev_classes();

}  // namespace tarni::bench
