// SPDX-License-Identifier: MIT
#include "event_queue.h"

#include <errno.h>
#include <string.h>
#include <sys/eventfd.h>

#include "failure.h"

namespace tarni::cli {

EventQueue& EventQueue::instance() {
  static EventQueue queue;
  return queue;
}

EventQueue::EventQueue() : wakeup_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (wakeup_.get() < 0) throw Failure{kFailed, std::string("no event queue: ") + strerror(errno)};
}

void EventQueue::receive(usb_event_info event) {
  EventQueue& queue = instance();
  const auto now = std::chrono::system_clock::now();
  {
    const std::lock_guard<std::mutex> lock(queue.mutex_);
    queue.events_.push_back(
        {now, event.type, std::string(event.path, strnlen(event.path, sizeof event.path))});
  }
  eventfd_write(queue.wakeup_.get(), 1);
}

std::vector<ReceivedEvent> EventQueue::take() {
  eventfd_t ignored;
  eventfd_read(wakeup_.get(), &ignored);
  const std::lock_guard<std::mutex> lock(mutex_);
  return std::exchange(events_, {});
}

}  // namespace tarni::cli
