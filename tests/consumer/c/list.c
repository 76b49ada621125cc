/* SPDX-License-Identifier: MIT */
/* A host in C that finds the library by pkg-config: prints one line per device
 * and, where the kernel tells of them, one per event until a device is removed. */
#include <stdio.h>
#include <tarni.h>
#include <unistd.h>

static int events[2];

static void receive(usb_event_info event) {
  if (write(events[1], &event, sizeof event) < 0) perror("write");
}

static void list_devices(void* finder) {
  const int list = tarni_get_device_list(finder);
  while (tarni_get_next_device(finder, list) >= 0) {
    usb_device device = {0};
    if (tarni_get_device_info(finder, list, &device) != 0) continue;
    printf("%04x:%04x %s\n", device.vid, device.pid, device.product);
  }
  tarni_free_device_list(finder, list);
}

static void watch(void* finder) {
  usb_event_info event;
  while (read(events[0], &event, sizeof event) == sizeof event) {
    printf("%d %s\n", (int)event.type, event.path);
    if (event.type == DEVICE_ATTACH) tarni_get_total_currentdraw(finder);
    if (event.type == DEVICE_REMOVED) return;
  }
}

int main(void) {
  void* finder = tarni_open();
  if (pipe(events) != 0 || tarni_subscribe_all(finder, receive) < 0) return 1;
  list_devices(finder);
  if (tarni_init(finder) >= 0) watch(finder);
  tarni_close(finder);
  return 0;
}
