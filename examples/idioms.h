/* SPDX-License-Identifier: MIT */
/* What hosts of libtarni need again and again, to be copied. docs/manual.md tells
 * why. Define _XOPEN_SOURCE as 700 before the first include. */
#ifndef IDIOMS_H
#define IDIOMS_H

#include <fcntl.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

struct streams {
  FILE* out;
  FILE* err;
};

static inline FILE* moved_away(int fd) {
  const int moved = fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  FILE* stream = moved < 0 ? NULL : fdopen(moved, "w");
  if (stream == NULL) exit(1); /* there is nowhere to say so */
  setvbuf(stream, NULL, _IOLBF, BUFSIZ);
  return stream;
}

/* The library writes to descriptors 1 and 2. Gives it a log file in their place,
 * and the host streams that nobody else writes to. Call it before tarni_open(). */
static inline struct streams divert_library(const char* log_file) {
  const struct streams streams = {moved_away(STDOUT_FILENO), moved_away(STDERR_FILENO)};
  const int log = open(log_file, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
  if (log < 0 || dup2(log, STDOUT_FILENO) < 0 || dup2(log, STDERR_FILENO) < 0) {
    fprintf(streams.err, "cannot divert the library's log to %s\n", log_file);
    exit(1);
  }
  close(log);
  return streams;
}

/* Prints a text field, which comes from the device and can hold anything: as "?"
 * whatever is not printable ASCII. */
static inline void print_field(FILE* out, const char* field, size_t size) {
  for (size_t i = 0; i < size && field[i] != '\0'; ++i)
    fputc(field[i] >= ' ' && field[i] <= '~' ? field[i] : '?', out);
}

/* Whether a node that was found for the device belongs to it. The library goes by
 * names and finds for 1-1 those of 1-10 and 11-1 too; the device's own hang on one
 * of its interfaces, such as 1-1:1.0. */
static inline int is_own_node(const char* sysfs_path, const char* node) {
  static const char* const folders[] = {"/sys/block", "/sys/class/hidraw", "/sys/class/tty"};
  char interface[NAME_MAX + 2];
  snprintf(interface, sizeof interface, "%s:", strrchr(sysfs_path, '/'));
  for (size_t i = 0; i < sizeof folders / sizeof folders[0]; ++i) {
    char link[PATH_MAX];
    snprintf(link, sizeof link, "%s%s", folders[i], strrchr(node, '/'));
    char* directory = realpath(link, NULL);
    const int own = directory != NULL && strstr(directory, interface) != NULL;
    free(directory);
    if (own) return 1;
  }
  return 0;
}

/* A number from the command line; ends the program when it is none. */
static inline int number_argument(int argc, char** argv, int index, int fallback) {
  if (index >= argc) return fallback;
  int number;
  char rest;
  if (sscanf(argv[index], "%9d%c", &number, &rest) == 1 && number >= 0) return number;
  fprintf(stderr, "%s: \"%s\" is not a number\n", argv[0], argv[index]);
  exit(2);
}

#endif
