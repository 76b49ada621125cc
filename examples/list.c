/* SPDX-License-Identifier: MIT */
/* Lists every device with its nodes. Waits for nothing, opens no device. */
#define _XOPEN_SOURCE 700
#include <tarni.h>

#include "idioms.h"

static const char* class_name(int number) {
  static const char* const names[] = {"audio", "communications", "human interface", "mass storage",
                                      "hub",   "CDC data",       "smart card",      "wireless"};
  return number < (int)(sizeof names / sizeof names[0]) ? names[number] : "other";
}

static void print_node(FILE* out, const usb_device* device, const char* kind, const char* node) {
  if (is_own_node(device->sysfs_path, node)) fprintf(out, "    %s %s\n", kind, node);
}

static void print_nodes(FILE* out, void* finder, int list, const usb_device* device) {
  char node[PATH_MAX] = {0};
  /* Asked first, as it answers at once: for a stick without a disk yet, the
   * question for the number of disks takes four seconds. */
  if (tarni_get_devfs_path(finder, list, node, sizeof node) != 0) return;
  const int disks = tarni_get_num_partitions(finder, list);
  if (disks <= 0) print_node(out, device, "node", node);
  for (int i = 0; i < disks; ++i) {
    if (tarni_get_partition_path(finder, list, i, node, sizeof node) == 0)
      print_node(out, device, "disk", node);
  }
}

static void print_device(FILE* out, const usb_device* device) {
  /* A root hub has no path; its bus number names it. */
  if (device->sysfs_path[0] == '\0')
    fprintf(out, "bus %u", (unsigned)device->bus_num);
  else
    print_field(out, device->sysfs_path, sizeof device->sysfs_path);
  fprintf(out, "  %04x:%04x  %s  \"", device->vid, device->pid, class_name(device->dev_cls));
  print_field(out, device->manufacturer, sizeof device->manufacturer);
  fputs("\" \"", out);
  print_field(out, device->product, sizeof device->product);
  fputs("\" \"", out);
  print_field(out, device->serial, sizeof device->serial);
  fputs("\"\n", out);
}

int main(void) {
  const struct streams streams = divert_library("/dev/null");
  void* finder = tarni_open();
  const int list = tarni_get_device_list(finder);
  int index;
  while ((index = tarni_get_next_device(finder, list)) >= 0) {
    usb_device device = {0};
    if (tarni_get_device_info(finder, list, &device) != 0) {
      fprintf(streams.out, "device %d cannot be read, or is not configured\n", index);
      continue;
    }
    print_device(streams.out, &device);
    print_nodes(streams.out, finder, list, &device);
  }
  tarni_free_device_list(finder, list);
  tarni_close(finder);
  return fclose(streams.out) == 0 ? 0 : 1;
}
