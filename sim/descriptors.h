// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "sim/device.h"

namespace tarni::sim {

// bInterfaceNumber of each of the device's interfaces.
std::vector<int> interface_numbers(const Device& device);

// What the kernel shows in the sysfs attribute "descriptors": the device
// descriptor, followed by the configuration with all that belongs to it.
std::vector<std::uint8_t> descriptors(const Device& device);

// bcdUSB of a device of this speed: 0x0200, for example.
std::uint16_t usb_version(const Device& device);

// bMaxPacketSize0: bytes, or the exponent of 2 from 5000 Mbit/s on.
std::uint8_t control_packet_size(const Device& device);

bool is_super_speed(const Device& device);

}  // namespace tarni::sim
