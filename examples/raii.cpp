// SPDX-License-Identifier: MIT
// Prints COUNT events and what was attached: raii [COUNT]. Finder and device list
// are objects that clean up after themselves.
#include <tarni.h>

#include <memory>
#include <stdexcept>
#include <string>

#include "idioms.h"

namespace {

int events[2];  // a pipe from the library's thread to the main one
void receive(usb_event_info event) {
  if (write(events[1], &event, sizeof event) < 0) return;  // full: see overcurrent.c
}

struct Closer {
  void operator()(void* finder) const { tarni_close(finder); }
};
using Finder = std::unique_ptr<void, Closer>;

// Subscribes before it starts, and starts once: a second start ends the process.
Finder started_finder() {
  Finder finder(tarni_open());
  tarni_subscribe_all(finder.get(), receive);
  if (tarni_init(finder.get()) < 0) throw std::runtime_error("no USB topology manager");
  return finder;
}

// Freed once and never named again: its number can come to name another list.
class DeviceList {
 public:
  explicit DeviceList(void* owner) : finder(owner) {}
  ~DeviceList() { tarni_free_device_list(finder, list); }
  DeviceList(const DeviceList&) = delete;
  DeviceList& operator=(const DeviceList&) = delete;

  // Once per list. In place of tarni_find_device(), which keeps a list for good.
  bool find(const std::string& path, usb_device& device) {
    while (tarni_get_next_device(finder, list) >= 0)
      if (tarni_get_device_info(finder, list, &device) == 0 && path == device.sysfs_path)
        return true;
    return false;
  }

 private:
  void* const finder;
  const int list = tarni_get_device_list(finder);
};

void run(std::FILE* out, int count) {
  const Finder finder = started_finder();
  usb_event_info event;
  while (count-- > 0 && read(events[0], &event, sizeof event) == ssize_t{sizeof event}) {
    std::fprintf(out, "event %d %s ", event.type, event.path);
    usb_device device = {};
    if (event.type == DEVICE_ATTACH && DeviceList(finder.get()).find(event.path, device))
      print_field(out, device.product, sizeof device.product);
    std::fputc('\n', out);
  }
}

}  // namespace

int main(int argc, char** argv) {
  const int count = number_argument(argc, argv, 1, INT_MAX);
  const streams streams = divert_library("/dev/null");
  try {
    if (pipe2(events, O_CLOEXEC | O_NONBLOCK) != 0) throw std::runtime_error("no pipe");
    fcntl(events[0], F_SETFL, 0);  // the reader waits
    run(streams.out, count);
  } catch (const std::exception& error) {
    std::fprintf(streams.err, "raii: %s\n", error.what());
    return 1;
  }
}
