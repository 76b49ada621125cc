// SPDX-License-Identifier: MIT
#pragma once

#include <time.h>

#include <atomic>
#include <functional>
#include <vector>

// System calls of the test program, and so of the library under test, that can be
// made to fail, or to pass without taking their time. All pass on what they are
// not told to replace.
namespace tarni::test::faults {

// Called in place of nanosleep, which returns the result (-1: interrupted, errno
// set by the function).
using Nanosleep = std::function<int(const timespec* wanted, timespec* left)>;

struct PollResult {
  int result;
  short netlink = 0;     // revents of the first entry
  short terminator = 0;  // of the second
};

void replace_nanosleep(Nanosleep replacement);
// The next waits of topology-manager clients give these results, one each.
void script_poll(std::vector<PollResult> results);
bool poll_script_done();

extern std::atomic<bool> eventfd_fails;
extern std::atomic<bool> netlink_sends_fail;
extern std::atomic<bool> libusb_init_fails;
extern std::atomic<bool> device_lists_fail;

// How many libusb contexts were closed.
extern std::atomic<int> contexts_closed;

// Back to normal.
void clear();

}  // namespace tarni::test::faults
