// SPDX-License-Identifier: MIT
// The event side of a finder, and its end.
#include <string>

#include "base/log.h"
#include "cache/cache_mgr.h"
#include "events/event.h"
#include "events/publisher.h"
#include "finder/ifinder.h"
#include "finder/usb_device_finder.h"

namespace tarni {
namespace {

void log_subscription() {
  log("[UDF] Inside devicefinder subscribe\n");
}

}  // namespace

// A second call that succeeds assigns to a thread object that still has its
// thread, which ends the process.
int UsbDeviceFinder::init() {
  const int result = finder->init(publisher);
  if (result < 0) {
    state = kInitFailed;
    return result;
  }
  worker_thread = std::thread(&UsbDeviceFinder::finder_worker, this);
  state = kListening;
  return result;
}

void UsbDeviceFinder::finder_worker() {
  while (is_running()) {
    log("[UDF] UsbDeviceFinder finder_worker going to block\n");
    const int result = finder->wait_for_status_change();
    log("[UDF] UsbDeviceFinder finder_worker returned from wait\n");
    if (result < 0) {
      state = kStoppedListening;
      return;
    }
  }
}

// Unguarded on purpose: a flag that goes from true to false once. What ends a
// wait at shutdown is the client's disconnect, which comes after the flag has
// been cleared; should this miss the change all the same, the next wait returns
// at once.
bool UsbDeviceFinder::is_running() const {
  return running;
}

int UsbDeviceFinder::subscribe_to_event(int type, void (*cb)(usb_event_info)) {
  const Publisher::Callback callback(cb);
  log_subscription();
  publisher->subscribe(static_cast<EventType>(type), callback);
  return 0;
}

int UsbDeviceFinder::subscribe_all(void (*cb)(usb_event_info)) {
  const Publisher::Callback callback(cb);
  log_subscription();
  publisher->subscribe_to_all(callback);
  return 0;
}

int UsbDeviceFinder::get_total_currentdraw() {
  return finder->get_total_currentdraw();
}

void UsbDeviceFinder::dummy_publish(int type) {
  const auto event = std::make_shared<Event>();
  event->type = static_cast<EventType>(type);
  event->path = "hello dummy";
  publisher->publish(event);
  log("[UDF] Dummy Event published\n");
}

void UsbDeviceFinder::stop_running() {
  running = false;
}

UsbDeviceFinder::~UsbDeviceFinder() {
  log("[UDF] ENTER: UsbDeviceFinder Destructor\n");
  stop_running();
  finder->disconnect();
  log("[UDF] UsbDeviceFinder Destructor called finder disconnect\n");
  if (worker_thread.joinable()) {
    log("[UDF] UsbDeviceFinder Destructor going to wait for worker thread join\n");
    worker_thread.join();
  }
  log("[UDF] EXIT: UsbDeviceFinder Destructor\n");
}

}  // namespace tarni
