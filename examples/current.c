/* SPDX-License-Identifier: MIT */
/* Tells the total current draw at intervals, and events meanwhile:
 * current [INTERVAL_MS [COUNT]]; ends after COUNT answers.
 *
 * One loop does both. To ask takes up to 0.9 seconds, in which events wait in the
 * pipe; asked from the callback it would hold up their delivery. */
#define _XOPEN_SOURCE 700
#include <poll.h>
#include <sys/timerfd.h>
#include <tarni.h>

#include "idioms.h"

static int events[2]; /* a pipe from the library's thread to the main one */

static void receive(usb_event_info event) {
  if (write(events[1], &event, sizeof event) < 0) return; /* full: see overcurrent.c */
}

static int start_timer(int ms) {
  const int interval_ms = ms > 0 ? ms : 1; /* 0 would stop it */
  const struct timespec interval = {interval_ms / 1000, interval_ms % 1000 * 1000000L};
  const struct itimerspec setting = {interval, {0, 1}}; /* at once for the first time */
  const int timer = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC);
  timerfd_settime(timer, 0, &setting, NULL);
  return timer;
}

/* Nothing below 0 is a current that a sane topology manager reports. */
static int tell_current(FILE* out, void* finder) {
  const int total = tarni_get_total_currentdraw(finder);
  if (total == -1)
    fputs("the topology manager cannot tell the current\n", out);
  else if (total == -2)
    fputs("no answer; asking again\n", out);
  else if (total < 0)
    fputs("no sane reading\n", out);
  else
    fprintf(out, "%d mA\n", total);
  return total >= 0;
}

static void tell_event(FILE* out) {
  usb_event_info event;
  if (read(events[0], &event, sizeof event) != (ssize_t)sizeof event) return;
  fprintf(out, "event %d ", (int)event.type);
  print_field(out, event.path, sizeof event.path);
  fputc('\n', out);
}

static void run(FILE* out, void* finder, int timer, int count) {
  struct pollfd inputs[] = {{events[0], POLLIN, 0}, {timer, POLLIN, 0}};
  while (count > 0) {
    poll(inputs, 2, -1);
    if (inputs[0].revents != 0) tell_event(out);
    if (inputs[1].revents == 0) continue;
    unsigned long long ticks;
    if (read(timer, &ticks, sizeof ticks) > 0) count -= tell_current(out, finder);
  }
}

int main(int argc, char** argv) {
  const int interval_ms = number_argument(argc, argv, 1, 1000);
  const int count = number_argument(argc, argv, 2, INT_MAX);
  const struct streams streams = divert_library("/dev/null");
  if (pipe(events) != 0 || fcntl(events[1], F_SETFL, O_NONBLOCK) != 0) return 1;
  void* finder = tarni_open();
  tarni_subscribe_all(finder, receive);
  const int started = tarni_init(finder);
  if (started < 0) fputs("current: no USB topology manager\n", streams.err);
  if (started >= 0) run(streams.out, finder, start_timer(interval_ms), count);
  tarni_close(finder);
  return started < 0;
}
