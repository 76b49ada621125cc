/* SPDX-License-Identifier: MIT */
/* A host in C that finds the library by pkg-config: one line per device. */
#include <stdio.h>
#include <tarni.h>

int main(void) {
  void* finder = tarni_open();
  const int list = tarni_get_device_list(finder);
  while (tarni_get_next_device(finder, list) >= 0) {
    usb_device device = {0};
    if (tarni_get_device_info(finder, list, &device) != 0) continue;
    printf("%04x:%04x %s\n", device.vid, device.pid, device.product);
  }
  tarni_close(finder);
  return 0;
}
