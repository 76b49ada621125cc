// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace tarni {

// What is kept of one alternate setting of one interface: the fields of its USB
// interface descriptor, under their names there.
struct InterfaceDescData {
  std::uint8_t bInterfaceNumber;
  std::uint8_t bAlternateSetting;
  std::uint8_t bNumEndpoints;
  std::uint8_t bInterfaceClass;
  std::uint8_t bInterfaceSubClass;
  std::uint8_t bInterfaceProtocol;
};

}  // namespace tarni
