// SPDX-License-Identifier: MIT
#pragma once

#include <tarni.h>

#include <chrono>
#include <mutex>
#include <string>
#include <vector>

#include "unique_fd.h"

namespace tarni::cli {

struct ReceivedEvent {
  std::chrono::system_clock::time_point time;
  int type;
  std::string path;
};

// Hands events from the library's delivery thread to the main thread, which can
// then be as slow as its terminal without holding up the library.
// One per process, as the library's callback carries no context.
class EventQueue {
 public:
  static EventQueue& instance();
  EventQueue(const EventQueue&) = delete;
  EventQueue& operator=(const EventQueue&) = delete;

  // The callback to subscribe.
  static void receive(usb_event_info event);

  // Readable while events wait.
  int descriptor() const { return wakeup_.get(); }

  // All events that wait, in their order.
  std::vector<ReceivedEvent> take();

 private:
  EventQueue();

  const UniqueFd wakeup_;
  std::mutex mutex_;
  std::vector<ReceivedEvent> events_;  // guarded by mutex_
};

}  // namespace tarni::cli
