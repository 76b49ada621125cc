// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "sim/mailbox.h"
#include "sim/manager_connection.h"
#include "sim/netlink_message.h"
#include "sim/unique_fd.h"

struct pollfd;

namespace tarni::sim {

/*
 * The topology manager's listening socket and the thread that takes connections,
 * reads from them and answers requests. Owned by the TopologyManager.
 *
 * Thread-safe: mutex_ guards connections and answers, the mailbox has its own
 * lock, and what the thread alone uses says so.
 */
class ManagerThread {
 public:
  struct Answer {
    Bytes payload;
    std::chrono::milliseconds delay;
  };

  ManagerThread();
  ~ManagerThread();
  ManagerThread(const ManagerThread&) = delete;
  ManagerThread& operator=(const ManagerThread&) = delete;

  const std::string& address() const { return address_; }
  Mailbox& mailbox() { return mailbox_; }

  // Nothing: requests of this code are not answered.
  void set_answer(std::uint8_t code, std::optional<Answer> answer);

  // To one connection, or to all registered ones for number 0. Returns the number
  // of connections reached.
  int send(const Bytes& datagram, std::size_t count, int connection) const;

  void hang_up();
  std::size_t connections() const;
  bool wait_for_connections(std::size_t count, std::chrono::milliseconds limit) const;

 private:
  using Clock = std::chrono::steady_clock;
  using ConnectionPtr = std::shared_ptr<ManagerConnection>;
  struct Due {
    ConnectionPtr connection;
    Bytes datagram;
  };

  void run();
  bool wait_for_input(const std::vector<ConnectionPtr>& connections);
  int wait(std::vector<pollfd>& entries, bool accepting) const;
  void accept_connection();
  void read_from(const ConnectionPtr& connection);
  void answer(const ConnectionPtr& connection, std::uint8_t code);
  void send_due();
  void forget(const ConnectionPtr& connection);
  std::vector<ConnectionPtr> all_connections() const;

  std::string address_;
  UniqueFd listener_;
  UniqueFd stop_;  // eventfd
  Mailbox mailbox_;

  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;                // connections_ has changed
  std::map<int, ConnectionPtr> connections_;               // guarded by mutex_
  std::map<std::uint8_t, std::optional<Answer>> answers_;  // guarded by mutex_

  // The thread's own.
  int last_id_ = 0;
  std::multimap<Clock::time_point, Due> due_;
  Clock::time_point accept_again_{};

  std::thread thread_;  // last: it uses all of the above
};

}  // namespace tarni::sim
