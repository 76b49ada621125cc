/* SPDX-License-Identifier: MIT */
/* Runs a program for each event: hook COUNT PROGRAM. The program gets the number of
 * the event's type and the path as arguments; hook ends after COUNT events.
 *
 * A forked process has the finder's descriptors and none of its threads, so nothing
 * of the library may run there. posix_spawn() runs nothing at all in between. */
#define _GNU_SOURCE
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <tarni.h>

#include "idioms.h"

static int events[2]; /* a pipe from the library's thread to the main one */

static void receive(usb_event_info event) {
  if (write(events[1], &event, sizeof event) < 0) return; /* full: see overcurrent.c */
}

static int run_program(const struct streams* streams, char* program, usb_event_info* event) {
  char type[16];
  snprintf(type, sizeof type, "%d", (int)event->type);
  char* arguments[] = {program, type, event->path, NULL};
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  /* The host's own streams in place of the log, and nothing else: not every
   * descriptor of the library closes by itself. */
  posix_spawn_file_actions_adddup2(&actions, fileno(streams->out), STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, fileno(streams->err), STDERR_FILENO);
  posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
  pid_t child;
  const int failed = posix_spawnp(&child, program, &actions, NULL, arguments, environ);
  posix_spawn_file_actions_destroy(&actions);
  if (failed) {
    fprintf(streams->err, "hook: cannot run %s\n", program);
    return -1;
  }
  return waitpid(child, NULL, 0) == child ? 0 : -1;
}

int main(int argc, char** argv) {
  if (argc < 3) {
    fputs("usage: hook COUNT PROGRAM\n", stderr);
    return 2;
  }
  int count = number_argument(argc, argv, 1, 0);
  const struct streams streams = divert_library("/dev/null");
  if (pipe2(events, O_CLOEXEC) != 0 || fcntl(events[1], F_SETFL, O_NONBLOCK) != 0) return 1;
  void* finder = tarni_open();
  tarni_subscribe_all(finder, receive);
  int status = tarni_init(finder);
  if (status < 0) fputs("hook: no USB topology manager\n", streams.err);
  usb_event_info event;
  while (status >= 0 && count-- > 0 &&
         read(events[0], &event, sizeof event) == (ssize_t)sizeof event)
    status = run_program(&streams, argv[2], &event);
  tarni_close(finder);
  return status < 0;
}
