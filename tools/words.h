// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

namespace tarni::cli {

// A device class (usb_device::dev_cls) in words.
std::string class_words(std::uint16_t device_class);

// Whether devices of a class can have nodes in /dev.
bool class_has_nodes(std::uint16_t device_class);
bool is_mass_storage(std::uint16_t device_class);

// An event type in words.
std::string event_words(int type);

// Whether the event brings a device or hub that can be described, or says that
// one is gone.
bool event_attaches(int type);
bool event_removes(int type);

}  // namespace tarni::cli
