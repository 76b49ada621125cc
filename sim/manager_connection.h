// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstddef>
#include <deque>
#include <optional>
#include <vector>

#include "sim/netlink_message.h"
#include "sim/unique_fd.h"

namespace tarni::sim {

/*
 * One netlink socket of a host, seen from the topology manager. Shared between
 * the manager's thread, which reads and answers without ever blocking, and the
 * threads that send notifications, which wait for a slow reader. The descriptor
 * closes with the last of them.
 */
class ManagerConnection {
 public:
  ManagerConnection(int id, UniqueFd fd);
  ManagerConnection(const ManagerConnection&) = delete;
  ManagerConnection& operator=(const ManagerConnection&) = delete;

  int id() const { return id_; }
  int fd() const { return fd_.get(); }

  // Any thread. The same datagram count times; blocks. False when the other side
  // is gone; throws std::runtime_error when it takes nothing for 10 seconds.
  bool send(const Bytes& datagram, std::size_t count = 1) const;

  // Any thread. Both sides see the end of the connection.
  void hang_up() const;

  // The manager's thread only. Reads what is there; nothing at the end of the
  // connection.
  std::optional<std::vector<NetlinkMessage>> receive();

  // The manager's thread only. Sends at once or, when there is no room, from
  // send_queued(), to be called when the descriptor becomes writable.
  void answer(const Bytes& datagram);
  void send_queued();
  bool has_queued() const { return !queue_.empty(); }

  std::atomic<bool> registered{false};

 private:
  // False when there is no room.
  bool send_now(const Bytes& datagram) const;

  const int id_;
  const UniqueFd fd_;
  std::deque<Bytes> queue_;
};

}  // namespace tarni::sim
