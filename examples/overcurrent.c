/* SPDX-License-Identifier: MIT */
/* Watches the ports of one hub: overcurrent HUB [COUNT], such as overcurrent 1-1; ends
 * after COUNT events. The event names the hub only. Which port it was, the kernel's
 * own counters tell, in the port's directory below the hub's. */
#define _XOPEN_SOURCE 700
#include <tarni.h>

#include "idioms.h"

#define MAX_PORTS 255
#define SYSFS "/sys/bus/usb/devices/"

static int events[2]; /* a pipe from the library's thread to the main one */

/* A record is shorter than PIPE_BUF and so goes whole or not at all. When the pipe is
 * full the event is lost, which is better than to hold up the library. */
static void receive(usb_event_info event) {
  if (write(events[1], &event, sizeof event) < 0) return;
}

/* How often the kernel saw overcurrent on a port; 0 where it does not count. */
static unsigned count_of_port(const char* hub, int port) {
  char path[3 * NAME_MAX];
  const int root = strncmp(hub, "usb", 3) == 0; /* bus 1: usb1/1-0:1.0/usb1-port3 */
  snprintf(path, sizeof path, SYSFS "%s/%s%s:1.0/%s-port%d/over_current_count", hub,
           root ? hub + 3 : hub, root ? "-0" : "", hub, port);
  unsigned count = 0;
  FILE* file = fopen(path, "re");
  if (file == NULL) return 0;
  if (fscanf(file, "%u", &count) != 1) count = 0;
  fclose(file);
  return count;
}

static void tell_ports(FILE* out, const char* hub, unsigned* known) {
  int found = 0;
  for (int port = 1; port <= MAX_PORTS; ++port) {
    const unsigned count = count_of_port(hub, port);
    if (count == known[port]) continue;
    fprintf(out, "overcurrent on %s port %d\n", hub, port);
    known[port] = count;
    found = 1;
  }
  if (!found) fprintf(out, "overcurrent on %s, port not known\n", hub);
}

static void watch(FILE* out, const char* hub, int count) {
  static unsigned known[MAX_PORTS + 1];
  for (int port = 1; port <= MAX_PORTS; ++port) known[port] = count_of_port(hub, port);
  usb_event_info event;
  while (count > 0 && read(events[0], &event, sizeof event) == (ssize_t)sizeof event) {
    if (strcmp(strrchr(event.path, '/') + 1, hub) != 0) continue;
    --count;
    if (event.type == OVERCURRENT_DETECTED)
      tell_ports(out, hub, known);
    else
      fprintf(out, "overcurrent on %s is over\n", hub);
  }
}

int main(int argc, char** argv) {
  const int count = number_argument(argc, argv, 2, INT_MAX);
  if (argc < 2 || strchr(argv[1], '/') != NULL || strlen(argv[1]) > 32) {
    fputs("usage: overcurrent HUB [COUNT]\n", stderr);
    return 2;
  }
  const struct streams streams = divert_library("/dev/null");
  if (pipe(events) != 0 || fcntl(events[1], F_SETFL, O_NONBLOCK) != 0) return 1;
  void* finder = tarni_open();
  tarni_subscribe(finder, OVERCURRENT_DETECTED, receive);
  tarni_subscribe(finder, OVERCURRENT_REMOVED, receive);
  const int started = tarni_init(finder);
  if (started < 0) fputs("overcurrent: no USB topology manager\n", streams.err);
  if (started >= 0) watch(streams.out, argv[1], count);
  tarni_close(finder);
  return started < 0;
}
