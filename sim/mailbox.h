// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <vector>

#include "sim/netlink_message.h"

namespace tarni::sim {

// What a host sent to the topology manager.
struct ReceivedMessage {
  int connection = 0;       // counts from 1 in the order of connecting
  std::uint16_t type = 0;   // netlink header; 0 for bytes that are no netlink message
  std::uint16_t flags = 0;  // netlink header
  Bytes payload;            // libnl pads it with zeros to a multiple of 4 bytes
  std::chrono::steady_clock::time_point time;

  // Second byte of the payload: 0x01 register, 0x07 current draw, 0x80 and above
  // acknowledgements. 0 for a payload that has none.
  std::uint8_t code() const { return payload.size() < 2 ? std::uint8_t{0} : payload[1]; }
};

/*
 * Keeps every message and lets several threads wait for some of them, each
 * message being given out once. Owned by the TopologyManager. Thread-safe by its
 * own lock, which is held while the caller's functions are called.
 */
class Mailbox {
 public:
  using Predicate = std::function<bool(const ReceivedMessage&)>;

  // Calls answer for each message, with the lock held: whoever has the answer
  // finds the message here, and whoever finds the message has been answered.
  void add(std::vector<ReceivedMessage> messages,
           const std::function<void(const ReceivedMessage&)>& answer);

  // Takes the oldest messages that fit and were not taken yet, count at most;
  // fewer when the limit passes.
  std::vector<ReceivedMessage> take(const Predicate& fits, std::size_t count,
                                    std::chrono::milliseconds limit);

  std::vector<ReceivedMessage> all() const;

 private:
  struct Entry {
    ReceivedMessage message;
    bool taken = false;
  };

  mutable std::mutex mutex_;
  std::condition_variable arrived_;
  std::deque<Entry> entries_;   // guarded by mutex_; only grows
  std::size_t first_open_ = 0;  // guarded by mutex_; all before it are taken
};

}  // namespace tarni::sim
