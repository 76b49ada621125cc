/* SPDX-License-Identifier: MIT */
/* Tells of sticks as they become usable: stick [COUNT], COUNT being how many to wait
 * for. Those that are plugged already count too.
 *
 * An event only says "look again"; what there is, a new list tells. So it does not
 * matter when events are lost, come twice, or came before the program started. */
#define _XOPEN_SOURCE 700
#include <poll.h>
#include <sys/eventfd.h>
#include <tarni.h>

#include "idioms.h"

#define LOOK_EVERY_MS 200
#define LOOKS 50 /* for ten seconds after the last event */

static int news;                /* eventfd, readable once there were events */
static int last_seen[256][128]; /* by bus and address: the walk that saw the stick */

/* On the library's thread, where nothing may take long. */
static void receive(usb_event_info event) {
  (void)event;
  eventfd_write(news, 1);
}

/* Finds the first disk that the device at the cursor has by now. The question for
 * its node is answered at once; that for its disks would take four seconds. */
static int find_disk(void* finder, int list, const usb_device* device, char* node, int size) {
  if (device->dev_cls != 3 || tarni_get_devfs_path(finder, list, node, size) != 0) return 0;
  const int disks = tarni_get_num_partitions(finder, list);
  for (int i = 0; i < disks; ++i) {
    if (tarni_get_partition_path(finder, list, i, node, size) == 0 &&
        is_own_node(device->sysfs_path, node))
      return 1;
  }
  return 0;
}

/* Tells of sticks that the walk before this one did not see. Returns how many. */
static int tell_of_new_sticks(FILE* out, void* finder, int walk) {
  int found = 0;
  const int list = tarni_get_device_list(finder);
  while (tarni_get_next_device(finder, list) >= 0) {
    usb_device device = {0};
    char node[PATH_MAX] = {0};
    if (tarni_get_device_info(finder, list, &device) != 0) continue;
    if (!find_disk(finder, list, &device, node, sizeof node)) continue;
    /* Plugged anew, even in the same port, a stick has another address. */
    int* seen = &last_seen[device.bus_num % 256][device.dev_num % 128];
    if (*seen == 0 || *seen != walk - 1) {
      fprintf(out, "%s is ready: ", node);
      print_field(out, device.product, sizeof device.product);
      fputc('\n', out);
      ++found;
    }
    *seen = walk;
  }
  tarni_free_device_list(finder, list);
  return found;
}

int main(int argc, char** argv) {
  const int count = number_argument(argc, argv, 1, INT_MAX);
  const struct streams streams = divert_library("/dev/null");
  struct pollfd events = {news = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), POLLIN, 0};
  void* finder = tarni_open();
  tarni_subscribe_all(finder, receive); /* before the first walk: no gap */
  const int started = tarni_init(finder);
  if (started < 0) fputs("stick: no USB topology manager\n", streams.err);
  int looks = LOOKS;
  for (int walk = 1, left = count; started >= 0 && left > 0; ++walk) {
    left -= tell_of_new_sticks(streams.out, finder, walk);
    eventfd_t ignored;
    const int ready = poll(&events, 1, left <= 0 ? 0 : looks > 0 ? LOOK_EVERY_MS : -1);
    looks = ready > 0 && eventfd_read(news, &ignored) == 0 ? LOOKS : looks - 1;
  }
  tarni_close(finder);
  return started < 0;
}
