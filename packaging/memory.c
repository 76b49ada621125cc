/* SPDX-License-Identifier: MIT */
/* memory LIBRARY DEVICES: prints what a process gains in memory of its own when it
 * loads the library, opens finders, and holds a snapshot of so many devices. */
#include <dlfcn.h>
#include <fcntl.h>
#include <malloc.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <tarni.h>
#include <unistd.h>

#define FUNCTION(library, name) ((__typeof__(&name))dlsym(library, #name))

/* Of all mappings. Anonymous pages, those written to, are this process's own; all
 * others are pages of files, which it shares with whoever maps those. Private_Dirty
 * is not the same: it has pages of files that were installed a moment ago. */
typedef struct {
  long own_kb;
  long resident_kb;
  long heap;
} memory;

/* Static, and wholly written before the first look, so that looking costs nothing. */
static char maps[1 << 20];

static void fail(const char* what) {
  perror(what);
  exit(1);
}

static void read_maps(void) {
  const int fd = open("/proc/self/smaps", O_RDONLY);
  size_t length = 0;
  ssize_t got = 0;
  if (fd < 0) fail("smaps");
  while ((got = read(fd, maps + length, sizeof maps - 1 - length)) > 0) length += (size_t)got;
  close(fd);
  if (got < 0 || length == sizeof maps - 1) fail("smaps");
  maps[length] = 0;
}

/* Under the emulator for 32-bit ARM the file tells of the emulator's process. The
 * program has the lowest 4 GiB of that, at its own addresses; above is the
 * emulator's own memory, which is not counted. */
static memory look(void) {
  memory sum = {0, 0, (long)mallinfo2().uordblks};
  int counted = 0;
  int found = 0;
  read_maps();
  for (char* line = strtok(maps, "\n"); line; line = strtok(NULL, "\n")) {
    unsigned long long begin = 0;
    unsigned long long end = 0;
    long kb = 0;
    if (sscanf(line, "%llx-%llx ", &begin, &end) == 2) {
      counted = end - 1 <= UINTPTR_MAX;
      if (begin <= (uintptr_t)maps && (uintptr_t)maps < end) found = 1;
    } else if (counted && sscanf(line, "Anonymous: %ld", &kb) == 1) {
      sum.own_kb += kb;
    } else if (counted && sscanf(line, "Rss: %ld", &kb) == 1) {
      sum.resident_kb += kb;
    }
  }
  if (!found) {
    fprintf(stderr, "the program is not at its own addresses in smaps\n");
    exit(1);
  }
  return sum;
}

static memory before;

static void report(const char* what) {
  const memory now = look();
  const long own_kb = now.own_kb - before.own_kb;
  printf("%-33s %4ld KiB of its own, %6ld bytes of heap in use; %5ld KiB of files\n", what, own_kb,
         now.heap - before.heap, now.resident_kb - before.resident_kb - own_kb);
  before = look();
}

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  memset(maps, 1, sizeof maps);
  look();
  before = look();

  void* library = dlopen(argv[1], RTLD_NOW);
  if (!library) {
    fprintf(stderr, "%s\n", dlerror());
    return 1;
  }
  report("the library, loaded");

  void* finder = FUNCTION(library, tarni_open)();
  if (FUNCTION(library, tarni_init)(finder) < 0) return 1;
  report("a finder, opened and initialised");

  const int list = FUNCTION(library, tarni_get_device_list)(finder);
  int count = 0;
  usb_device device;
  while (FUNCTION(library, tarni_get_next_device)(finder, list) >= 0) {
    if (FUNCTION(library, tarni_get_device_info)(finder, list, &device) == 0) ++count;
  }
  if (count != atoi(argv[2])) {
    fprintf(stderr, "%d devices\n", count);
    return 1;
  }
  report("a snapshot, all devices read");

  const int second = FUNCTION(library, tarni_get_device_list)(finder);
  while (FUNCTION(library, tarni_get_next_device)(finder, second) >= 0) {
    FUNCTION(library, tarni_get_device_info)(finder, second, &device);
  }
  report("a second snapshot beside it");

  void* other = FUNCTION(library, tarni_open)();
  if (FUNCTION(library, tarni_init)(other) < 0) return 1;
  report("a second finder");
  FUNCTION(library, tarni_close)(other);
  FUNCTION(library, tarni_close)(finder);
  return 0;
}
