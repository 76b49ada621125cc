// SPDX-License-Identifier: MIT
#include "support/faults.h"

#include <dlfcn.h>
#include <libusb.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <deque>
#include <mutex>

namespace tarni::test::faults {
namespace {

constexpr int kClientTimeoutMs = 600000;

std::mutex mutex;
Nanosleep nanosleep_replacement;
std::deque<PollResult> poll_script;

std::atomic<const char*> failing_function{nullptr};
std::atomic<int> calls_left{0};

Nanosleep current_nanosleep() {
  const std::lock_guard<std::mutex> lock(mutex);
  return nanosleep_replacement;
}

bool take_scripted(pollfd* entries, nfds_t count, int timeout, int* result) {
  if (count != 2 || timeout != kClientTimeoutMs) return false;
  const std::lock_guard<std::mutex> lock(mutex);
  if (poll_script.empty()) return false;
  entries[0].revents = poll_script.front().netlink;
  entries[1].revents = poll_script.front().terminator;
  *result = poll_script.front().result;
  poll_script.pop_front();
  return true;
}

bool is(const char* failing, const char* function) {
  return failing && std::strcmp(function, failing) == 0;
}

bool is_in(const void* caller, const char* object) {
  Dl_info info;
  return dladdr(caller, &info) != 0 && info.dli_fname && std::strstr(info.dli_fname, object);
}

// The library's own threads have no way to tell anybody that memory has run out.
bool is_the_library(const char* function, const void* caller) {
  if (is_in(caller, "/libtarni.so"))
    return in_library || std::strcmp(function, "operator new") != 0;
  return is_in(caller, "/libnl-3.so") || (in_library && is_in(caller, "/libstdc++.so"));
}

}  // namespace

std::atomic<const char*> always_failing{nullptr};
std::atomic<int> contexts_closed{0};
thread_local bool in_library = false;

void fail_call(const char* function, int number) {
  calls_left = number;
  failing_function = number > 0 ? function : nullptr;
}

bool call_failed() {
  return calls_left <= 0;
}

// Takes no lock and gets no memory: asked before every call, operator new included.
bool strikes(const char* function, const void* caller) {
  if (is(always_failing, function)) return true;
  return is(failing_function, function) && is_the_library(function, caller) && --calls_left == 0;
}

void replace_nanosleep(Nanosleep replacement) {
  const std::lock_guard<std::mutex> lock(mutex);
  nanosleep_replacement = std::move(replacement);
}

void script_poll(std::vector<PollResult> results) {
  const std::lock_guard<std::mutex> lock(mutex);
  poll_script.assign(results.begin(), results.end());
}

void clear() {
  replace_nanosleep(nullptr);
  script_poll({});
  fail_call(nullptr, 0);
  always_failing = nullptr;
}

}  // namespace tarni::test::faults

using namespace tarni::test;

extern "C" {

int nanosleep(const timespec* wanted, timespec* left) {
  if (const faults::Nanosleep replacement = faults::current_nanosleep()) {
    return replacement(wanted, left);
  }
  static const auto real = faults::next<decltype(nanosleep)>("nanosleep");
  return real(wanted, left);
}

int poll(pollfd* entries, nfds_t count, int timeout) {
  int result;
  if (faults::take_scripted(entries, count, timeout, &result)) return result;
  PASS_ON(int, (pollfd*, nfds_t, int), (entries, count, timeout), "poll", -1, EINTR)
}

FAULT(int, eventfd, (unsigned int a, int b), (a, b), "eventfd", -1, EMFILE)
FAULT(ssize_t, sendmsg, (int a, const msghdr* b, int c), (a, b, c), "sendmsg", -1, ECONNREFUSED)
FAULT(int, libusb_init, (libusb_context * *a), (a), "libusb_init", LIBUSB_ERROR_OTHER, 0)
FAULT(ssize_t, libusb_get_device_list, (libusb_context * a, libusb_device*** b), (a, b),
      "libusb_get_device_list", LIBUSB_ERROR_NO_MEM, 0)

void libusb_exit(libusb_context* context) {
  static const auto real = faults::next<decltype(libusb_exit)>("libusb_exit");
  ++faults::contexts_closed;
  real(context);
}

}  // extern "C"
