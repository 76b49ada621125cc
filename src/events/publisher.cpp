// SPDX-License-Identifier: MIT
#include "events/publisher.h"

#include <chrono>
#include <exception>
#include <stdexcept>
#include <utility>

#include "base/log.h"

namespace tarni {
namespace {

// Attach and removal first, then trouble; not the order of their numbers. Seen
// only in the log.
constexpr EventType kAllTypes[] = {
    DEVICE_ATTACH,        DEVICE_REMOVED,      HUB_ATTACH,
    HUB_REMOVED,          OCCLUDED_HUB_ATTACH, OCCLUDED_HUB_REMOVED,
    OVERCURRENT_DETECTED, OVERCURRENT_REMOVED, UNSUPPORTED_DEVICE,
};

constexpr std::chrono::microseconds kPause{50};

}  // namespace

Publisher::Publisher() {
  worker = std::thread(&Publisher::pub_worker, this);
}

void Publisher::stop_running() {
  running = false;
}

Publisher::~Publisher() {
  stop_running();
  publish(nullptr);
  if (worker.joinable()) {
    log("[UDF] Publisher destructor - waiting to join worker thread\n");
    worker.join();
  }
  subscribers.clear();
  log("[UDF] Exiting Publisher destructor\n");
}

void Publisher::subscribe(EventType type, Callback callback) {
  log("[UDF] Subscribing for event %d\n", static_cast<int>(type));
  const std::lock_guard<std::mutex> lock(publish_mutex);
  subscribers[type].push_back(std::move(callback));
}

void Publisher::subscribe_to_all(Callback callback) {
  for (const EventType type : kAllTypes) subscribe(type, callback);
}

void Publisher::publish(std::shared_ptr<Event> event) {
  {
    const std::lock_guard<std::mutex> lock(publish_mutex);
    if (event && is_running()) event_queue.push_back(std::move(event));
    published = true;
  }
  publish_cv.notify_all();
}

// Waking a thread costs the publishing thread more than all the rest of publish().
// So in a burst the delivery thread comes back by itself, for several events at a
// time. An event close behind another one is therefore delivered up to the pause
// later, which takes some 100 us with the kernel's usual timer slack.
void Publisher::pause_unless_published() const {
  if (!published) std::this_thread::sleep_for(kPause);
}

bool Publisher::wait_for_publish() {
  pause_unless_published();
  std::unique_lock<std::mutex> lock(publish_mutex);
  // One wait and no loop: a spurious wake-up is told by the result, and the
  // delivery thread then looks whether it should still run.
  if (!published) publish_cv.wait(lock);
  return published.exchange(false);
}

void Publisher::pub_worker() {
  while (is_running()) {
    if (wait_for_publish()) deliver_queued();
  }
}

// Publishing always sets `published`, and this empties the queue before the
// next wait: an event that is published meanwhile makes that wait return at
// once, and none is lost.
void Publisher::deliver_queued() {
  while (!queue_is_empty()) {
    const std::shared_ptr<Event> event = take_front();
    if (!is_running()) {
      log("[UDF] pub_worker : terminating\n");
      return;
    }
    dispatch_callback(event);
  }
}

std::shared_ptr<Event> Publisher::take_front() {
  const std::lock_guard<std::mutex> lock(publish_mutex);
  std::shared_ptr<Event> event = std::move(event_queue.front());
  event_queue.pop_front();
  return event;
}

void Publisher::dispatch_callback(std::shared_ptr<Event> event) {
  const Callbacks& callbacks = subscribers_to(event->type);
  // By index, with the end taken once: a callback may subscribe to the very type
  // that is being delivered, which moves the callbacks.
  const std::size_t count = subscriber_count(callbacks);
  for (std::size_t i = 0; i < count; ++i) {
    const Callback callback = subscriber(callbacks, i);
    if (is_running()) invoke(callback, *event);
  }
}

// Whatever a callback throws ends here: the delivery thread has to live on.
void Publisher::invoke(const Callback& callback, const Event& event) {
  const usb_event_info info = to_event_info(event);
  try {
    callback(info);
  } catch (const std::runtime_error& error) {
    log("[UDF] Error: Publisher : caught runtime exception : %s\n", error.what());
  } catch (const std::exception& error) {
    log("[UDF] Error: Publisher : caught exception : %s\n", error.what());
  } catch (...) {
    log("[UDF] Error: Publisher : caught unknown exception trying to invoke callback!\n");
  }
  log("[UDF] Publisher : returned from callback\n");
}

// Unguarded on purpose: only the delivery thread removes events, so that a queue
// seen filled stays so, and an event whose arrival is missed here has set
// `published`, which brings the delivery thread back at once.
bool Publisher::queue_is_empty() const {
  return event_queue.empty();
}

// Unguarded on purpose, all three: hosts subscribe before events arrive, or from a
// callback and so on this thread, and a delivery never waits for a subscription.
// Entries are never removed while this thread runs.
const Publisher::Callbacks& Publisher::subscribers_to(EventType type) const {
  static const Callbacks none;
  const auto found = subscribers.find(type);
  return found == subscribers.end() ? none : found->second;
}

std::size_t Publisher::subscriber_count(const Callbacks& callbacks) {
  return callbacks.size();
}

Publisher::Callback Publisher::subscriber(const Callbacks& callbacks, std::size_t index) {
  return callbacks[index];
}

// Unguarded on purpose: a flag that goes from true to false once. The waking
// publish() that follows in the destructor takes publish_mutex, so that a thread
// which waits sees the change; one that is busy sees it a callback later at most.
bool Publisher::is_running() const {
  return running;
}

}  // namespace tarni
