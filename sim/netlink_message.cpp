// SPDX-License-Identifier: MIT
#include "sim/netlink_message.h"

#include <linux/netlink.h>

#include <algorithm>
#include <cstring>

namespace tarni::sim {
namespace {

constexpr std::size_t kHeaderBytes = sizeof(nlmsghdr);
constexpr std::size_t kAlignment = 4;

std::size_t aligned(std::size_t size) {
  return (size + kAlignment - 1) / kAlignment * kAlignment;
}

}  // namespace

Bytes done_message(const Bytes& payload) {
  nlmsghdr header{};
  header.nlmsg_len = static_cast<std::uint32_t>(kHeaderBytes + payload.size());
  header.nlmsg_type = NLMSG_DONE;
  Bytes out(aligned(header.nlmsg_len));
  std::memcpy(out.data(), &header, kHeaderBytes);
  std::copy(payload.begin(), payload.end(), out.begin() + kHeaderBytes);
  return out;
}

std::vector<NetlinkMessage> messages_in(const std::uint8_t* data, std::size_t size) {
  std::vector<NetlinkMessage> out;
  while (size > 0) {
    nlmsghdr header{};
    std::memcpy(&header, data, std::min(size, kHeaderBytes));
    if (size < kHeaderBytes || header.nlmsg_len < kHeaderBytes || header.nlmsg_len > size) {
      out.push_back({0, 0, Bytes(data, data + size)});
      break;
    }
    out.push_back({header.nlmsg_type, header.nlmsg_flags,
                   Bytes(data + kHeaderBytes, data + header.nlmsg_len)});
    const std::size_t step = std::min(aligned(header.nlmsg_len), size);
    data += step;
    size -= step;
  }
  return out;
}

}  // namespace tarni::sim
