// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include "sim/device.h"
#include "sim/recording.h"

namespace tarni::sim {

// Where the kernel puts a USB device.
struct Place {
  std::string path;  // below /sys
  int bus;
  int address;
};

// The directories of a device and of its interfaces, without their nodes.
std::vector<Record> device_records(const Device& device, const Place& place);

// The root hub of a bus, with its interface.
std::vector<Record> root_hub_records(const Place& place);

// Path of an interface's directory.
std::string interface_path(const Device& device, const Place& place, int number);

// A logical unit's disk; index counts the machine's disks (0: sda).
Record disk_record(const std::string& interface_path, int host, int unit, int index);
std::string disk_name(int index);

// A HID device with its hidraw node; instance counts the machine's HID devices.
std::vector<Record> hidraw_records(const std::string& interface_path, const Device& device,
                                   int instance, int index);

Record tty_record(const std::string& interface_path, int index);

}  // namespace tarni::sim
