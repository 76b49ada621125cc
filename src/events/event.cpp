// SPDX-License-Identifier: MIT
#include "events/event.h"

#include "base/text.h"

namespace tarni {

usb_event_info to_event_info(const Event& event) {
  usb_event_info info = {};
  info.type = event.type;
  bounded_copy(info.path, sizeof(info.path), event.path.c_str());
  return info;
}

}  // namespace tarni
