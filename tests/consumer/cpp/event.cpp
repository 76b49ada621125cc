// SPDX-License-Identifier: MIT
// A host in C++ that finds the library by find_package: prints the first event.
#include <tarni.h>

#include <chrono>
#include <future>
#include <iostream>

namespace {

std::promise<usb_event_info> received;

void receive(usb_event_info event) {
  received.set_value(event);
}

}  // namespace

int main() {
  void* finder = tarni_open();
  tarni_subscribe(finder, HUB_REMOVED, receive);
  tarni_dummy_publish(finder, DEVICE_ATTACH);
  tarni_dummy_publish(finder, HUB_REMOVED);
  std::future<usb_event_info> event = received.get_future();
  if (event.wait_for(std::chrono::seconds(30)) != std::future_status::ready) return 1;
  const usb_event_info info = event.get();
  std::cout << info.type << ' ' << info.path << '\n';
  tarni_close(finder);
}
