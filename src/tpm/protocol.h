// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

#include "api/tarni.h"

// What is spoken with the kernel's topology manager: tiny payloads behind a
// netlink header. Byte 0 is 2 on sending and not looked at on receipt, byte 1 is
// a code, and what follows depends on the code.
namespace tarni::tpm {

constexpr int TPM_MSG_TYPE = 12345;  // netlink type of everything the library sends

constexpr unsigned char kFirstByte = 2;
constexpr unsigned char TPM_REGISTER[] = {kFirstByte, 0x01, 0x00};
constexpr unsigned char TPM_QUERY_CURRENT_DRAW[] = {kFirstByte, 0x07, 0x00};
constexpr unsigned char TPM_ACK_FLAG = 0x80;  // added to the code that is acknowledged

constexpr unsigned char kRegisterAck = 0x81;
constexpr unsigned char kCurrentDrawAck = 0x87;

constexpr std::size_t kCodeOffset = 1;
constexpr std::size_t kNameOffset = 2;
constexpr std::size_t kPortOffset = 2;     // overcurrent only
constexpr std::size_t kHubNameOffset = 3;  // overcurrent only
constexpr std::size_t kStatusOffset = 2;   // current draw only: 0 is success
constexpr std::size_t kTotalOffset = 3;    // current draw only: 32 bits, big-endian, signed
constexpr std::size_t kFixedFieldsEnd = 7;

struct Notification {
  unsigned char code;
  EventType type;
  bool has_port;
  const char* log_text;
};

// The attach line has another prefix than the rest. It is what log readers in
// the field look for, so it stays.
constexpr Notification kNotifications[] = {
    {2, DEVICE_ATTACH, false, "FinderTPMgr: Device Attach"},
    {3, DEVICE_REMOVED, false, "KLAV_usb_tpm: Device Removed"},
    {4, OVERCURRENT_DETECTED, true, "KLAV_usb_tpm: Overcurrent detected on hub"},
    {5, OVERCURRENT_REMOVED, true, "KLAV_usb_tpm: Overcurrent removed on hub"},
    {6, HUB_ATTACH, false, "KLAV_usb_tpm: Hub attach"},
    {8, UNSUPPORTED_DEVICE, false, "KLAV_usb_tpm: Unsupported device at"},
    {10, HUB_REMOVED, false, "KLAV_usb_tpm: Hub Removed"},
    {11, OCCLUDED_HUB_ATTACH, false, "KLAV_usb_tpm: OCCLUDED_Hub attach"},
    {12, OCCLUDED_HUB_REMOVED, false, "KLAV_usb_tpm: OCCLUDED_Hub Removed"},
};

}  // namespace tarni::tpm
