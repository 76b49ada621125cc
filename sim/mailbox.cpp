// SPDX-License-Identifier: MIT
#include "sim/mailbox.h"

#include <algorithm>
#include <utility>

namespace tarni::sim {

void Mailbox::add(std::vector<ReceivedMessage> messages,
                  const std::function<void(const ReceivedMessage&)>& answer) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    for (ReceivedMessage& message : messages) {
      answer(message);
      entries_.push_back({std::move(message), false});
    }
  }
  arrived_.notify_all();
}

std::vector<ReceivedMessage> Mailbox::take(const Predicate& fits, std::size_t count,
                                           std::chrono::milliseconds limit) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  std::vector<ReceivedMessage> out;
  std::unique_lock<std::mutex> lock(mutex_);
  std::size_t next = first_open_;
  while (out.size() < count) {
    if (next == entries_.size()) {
      const bool more = arrived_.wait_until(lock, deadline, [&] { return next < entries_.size(); });
      if (!more) break;
    }
    Entry& entry = entries_[next++];
    if (entry.taken || !fits(entry.message)) continue;
    entry.taken = true;
    out.push_back(entry.message);
  }
  while (first_open_ < entries_.size() && entries_[first_open_].taken) ++first_open_;
  return out;
}

std::vector<ReceivedMessage> Mailbox::all() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  std::vector<ReceivedMessage> out;
  for (const Entry& entry : entries_) out.push_back(entry.message);
  return out;
}

}  // namespace tarni::sim
