// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "api/tarni.h"
#include "events/event.h"

namespace tarni {

// Hands events from the threads that learn of them to the callbacks of the
// application. A thread of its own delivers them, in the order in which they
// were published, with no lock held.
//
// One per finder, shared by the finder and its topology-manager client. Public
// operations may be called from any thread, also from a callback; but a thread
// other than the delivery thread that subscribes while an event is being delivered
// pulls the table from under the delivery, which reads it without the lock.
// Destroyed by whoever drops the last reference; events not yet delivered are
// dropped with it.
class Publisher {
 public:
  using Callback = std::function<void(usb_event_info)>;

  Publisher();
  ~Publisher();
  Publisher(const Publisher&) = delete;
  Publisher& operator=(const Publisher&) = delete;

  // Any number goes as a type, and a callback may be subscribed more than once.
  void subscribe(EventType type, Callback callback);
  void subscribe_to_all(Callback callback);

  // Queues an event and wakes the delivery thread. An empty pointer only wakes.
  void publish(std::shared_ptr<Event> event);

 private:
  using Callbacks = std::vector<Callback>;

  bool wait_for_publish();
  void pause_unless_published() const;
  void pub_worker();
  void deliver_queued();
  std::shared_ptr<Event> take_front();
  void dispatch_callback(std::shared_ptr<Event> event);
  void invoke(const Callback& callback, const Event& event);
  bool queue_is_empty() const;
  const Callbacks& subscribers_to(EventType type) const;
  static std::size_t subscriber_count(const Callbacks& callbacks);
  static Callback subscriber(const Callbacks& callbacks, std::size_t index);
  bool is_running() const;
  void stop_running();

  // Pushed to and popped from under publish_mutex; queue_is_empty() looks at it
  // without.
  std::deque<std::shared_ptr<Event>> event_queue;
  std::condition_variable publish_cv;
  // Set by publish(), cleared by wait_for_publish(), both under publish_mutex.
  std::atomic<bool> published{false};
  std::mutex publish_mutex;
  // Written under publish_mutex; subscribers_to(), subscriber_count() and
  // subscriber() look at it without.
  std::map<EventType, Callbacks> subscribers;
  std::thread worker;
  // Cleared by the destructor without a lock; see is_running().
  bool running = true;
};

}  // namespace tarni
