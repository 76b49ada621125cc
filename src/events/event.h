// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "api/tarni.h"

namespace tarni {

// One change of the USB topology on its way to the callbacks. Filled by its
// producer before it is published, never changed afterwards, and so read from
// any thread without a lock.
struct Event {
  EventType type = DEVICE_ATTACH;
  std::string path;  // sysfs directory of the device or hub
};

// The record that callbacks get: the path is cut to what the record holds, and
// always terminated.
usb_event_info to_event_info(const Event& event);

}  // namespace tarni
