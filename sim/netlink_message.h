// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tarni::sim {

using Bytes = std::vector<std::uint8_t>;

struct NetlinkMessage {
  std::uint16_t type = 0;
  std::uint16_t flags = 0;
  Bytes payload;
};

// A NLMSG_DONE message, padded so that another one can follow.
Bytes done_message(const Bytes& payload);

// The messages of one datagram. What is not a message comes as one of type 0 with
// all the bytes that are left.
std::vector<NetlinkMessage> messages_in(const std::uint8_t* data, std::size_t size);

}  // namespace tarni::sim
