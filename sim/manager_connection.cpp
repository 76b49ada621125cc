// SPDX-License-Identifier: MIT
#include "sim/manager_connection.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/uio.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace tarni::sim {
namespace {

constexpr time_t kSendLimitSeconds = 10;
constexpr std::size_t kBatch = 64;            // datagrams per system call
constexpr std::size_t kDatagramBytes = 4096;  // of a host; longer ones are cut

bool is_gone(int error) {
  return error == EPIPE || error == ECONNRESET || error == ENOTCONN;
}

}  // namespace

ManagerConnection::ManagerConnection(int id, UniqueFd fd) : id_(id), fd_(std::move(fd)) {
  const timeval limit{kSendLimitSeconds, 0};
  setsockopt(fd_.get(), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
}

bool ManagerConnection::send(const Bytes& datagram, std::size_t count) const {
  iovec part{const_cast<std::uint8_t*>(datagram.data()), datagram.size()};
  std::array<mmsghdr, kBatch> batch{};
  for (mmsghdr& entry : batch) {
    entry.msg_hdr.msg_iov = &part;
    entry.msg_hdr.msg_iovlen = 1;
  }
  while (count > 0) {
    const auto size = static_cast<unsigned>(std::min(count, kBatch));
    const int sent = sendmmsg(fd_.get(), batch.data(), size, MSG_NOSIGNAL);
    if (sent > 0) {
      count -= static_cast<std::size_t>(sent);
    } else if (is_gone(errno)) {
      return false;
    } else if (errno == EAGAIN) {
      throw std::runtime_error("a host does not read its notifications");
    } else if (errno != EINTR) {
      throw std::system_error(errno, std::generic_category(), "cannot send to a host");
    }
  }
  return true;
}

void ManagerConnection::hang_up() const {
  shutdown(fd_.get(), SHUT_RDWR);
}

std::optional<std::vector<NetlinkMessage>> ManagerConnection::receive() {
  static thread_local std::array<std::array<std::uint8_t, kDatagramBytes>, kBatch> buffers;
  std::array<iovec, kBatch> parts;
  std::array<mmsghdr, kBatch> batch{};
  for (std::size_t i = 0; i < kBatch; ++i) {
    parts[i] = {buffers[i].data(), kDatagramBytes};
    batch[i].msg_hdr.msg_iov = &parts[i];
    batch[i].msg_hdr.msg_iovlen = 1;
  }
  const int got = recvmmsg(fd_.get(), batch.data(), kBatch, MSG_DONTWAIT, nullptr);
  std::vector<NetlinkMessage> out;
  if (got < 0) {
    if (errno == EAGAIN || errno == EINTR) return out;
    return std::nullopt;
  }
  if (batch[0].msg_len == 0) return std::nullopt;
  for (std::size_t i = 0; i < static_cast<std::size_t>(got); ++i) {
    // Reading on at the end of the connection gives empty datagrams.
    for (NetlinkMessage& message : messages_in(buffers[i].data(), batch[i].msg_len)) {
      out.push_back(std::move(message));
    }
  }
  return out;
}

bool ManagerConnection::send_now(const Bytes& datagram) const {
  const ssize_t sent =
      ::send(fd_.get(), datagram.data(), datagram.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
  return sent >= 0 || errno != EAGAIN;
}

void ManagerConnection::answer(const Bytes& datagram) {
  if (!queue_.empty() || !send_now(datagram)) queue_.push_back(datagram);
}

void ManagerConnection::send_queued() {
  while (!queue_.empty() && send_now(queue_.front())) queue_.pop_front();
}

}  // namespace tarni::sim
