// SPDX-License-Identifier: MIT
// A host in C++ that finds the library by find_package: waits for a device, looks
// at it, and waits until it is removed.
#include <tarni.h>

#include <future>
#include <iostream>

namespace {

std::promise<usb_event_info> attached;
std::promise<usb_event_info> removed;

void on_attach(usb_event_info event) {
  attached.set_value(event);
}

void on_removal(usb_event_info event) {
  removed.set_value(event);
}

}  // namespace

int main() {
  void* finder = tarni_open();
  tarni_subscribe(finder, DEVICE_ATTACH, on_attach);
  tarni_subscribe(finder, DEVICE_REMOVED, on_removal);
  if (tarni_init(finder) < 0) return 1;
  const usb_event_info event = attached.get_future().get();
  usb_device device{};
  tarni_find_device(finder, event.path, &device);
  std::cout << device.product << " at " << event.path << '\n';
  tarni_get_total_currentdraw(finder);
  std::cout << "removed " << removed.get_future().get().path << '\n';
  tarni_close(finder);
}
