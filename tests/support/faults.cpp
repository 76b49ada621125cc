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
#include <utility>

namespace tarni::test::faults {
namespace {

constexpr int kClientTimeoutMs = 600000;

std::mutex mutex;
Nanosleep nanosleep_replacement;
std::deque<PollResult> poll_script;
std::function<void()> listing_action;

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

std::function<void()> take_listing_action() {
  const std::lock_guard<std::mutex> lock(mutex);
  return std::exchange(listing_action, nullptr);
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

std::atomic<bool> eventfd_fails{false};
std::atomic<bool> netlink_sends_fail{false};
std::atomic<bool> libusb_init_fails{false};
std::atomic<bool> device_lists_fail{false};
std::atomic<int> contexts_closed{0};
thread_local bool in_library = false;

void fail_call(const char* function, int number) {
  calls_left = number;
  failing_function = number > 0 ? function : nullptr;
}

bool call_failed() {
  return calls_left <= 0;
}

void after_next_listing(std::function<void()> action) {
  const std::lock_guard<std::mutex> lock(mutex);
  listing_action = std::move(action);
}

// Takes no lock and gets no memory: asked before every call, operator new included.
bool strikes(const char* function, const void* caller) {
  const char* failing = failing_function;
  return failing && std::strcmp(function, failing) == 0 && is_the_library(function, caller) &&
         --calls_left == 0;
}

void replace_nanosleep(Nanosleep replacement) {
  const std::lock_guard<std::mutex> lock(mutex);
  nanosleep_replacement = std::move(replacement);
}

void script_poll(std::vector<PollResult> results) {
  const std::lock_guard<std::mutex> lock(mutex);
  poll_script.assign(results.begin(), results.end());
}

bool poll_script_done() {
  const std::lock_guard<std::mutex> lock(mutex);
  return poll_script.empty();
}

void clear() {
  replace_nanosleep(nullptr);
  script_poll({});
  fail_call(nullptr, 0);
  after_next_listing(nullptr);
  eventfd_fails = netlink_sends_fail = libusb_init_fails = device_lists_fail = false;
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
  if (faults::strikes("poll", __builtin_return_address(0))) {
    errno = EINTR;
    return -1;
  }
  int result;
  if (faults::take_scripted(entries, count, timeout, &result)) return result;
  static const auto real = faults::next<decltype(poll)>("poll");
  return real(entries, count, timeout);
}

int eventfd(unsigned int value, int flags) {
  if (faults::eventfd_fails || faults::strikes("eventfd", __builtin_return_address(0))) {
    errno = EMFILE;
    return -1;
  }
  static const auto real = faults::next<decltype(eventfd)>("eventfd");
  return real(value, flags);
}

// libnl sends a single message this way, and libusb sends none.
ssize_t sendmsg(int fd, const msghdr* message, int flags) {
  if ((faults::netlink_sends_fail && message->msg_namelen == 12) ||
      faults::strikes("sendmsg", __builtin_return_address(0))) {
    errno = ECONNREFUSED;
    return -1;
  }
  static const auto real = faults::next<decltype(sendmsg)>("sendmsg");
  return real(fd, message, flags);
}

int libusb_init(libusb_context** context) {
  if (faults::libusb_init_fails || faults::strikes("libusb_init", __builtin_return_address(0)))
    return LIBUSB_ERROR_OTHER;
  static const auto real = faults::next<decltype(libusb_init)>("libusb_init");
  return real(context);
}

void libusb_exit(libusb_context* context) {
  static const auto real = faults::next<decltype(libusb_exit)>("libusb_exit");
  ++faults::contexts_closed;
  real(context);
}

ssize_t libusb_get_device_list(libusb_context* context, libusb_device*** list) {
  if (faults::device_lists_fail ||
      faults::strikes("libusb_get_device_list", __builtin_return_address(0)))
    return LIBUSB_ERROR_NO_MEM;
  static const auto real = faults::next<decltype(libusb_get_device_list)>("libusb_get_device_list");
  const ssize_t result = real(context, list);
  if (const auto action = faults::take_listing_action()) action();
  return result;
}

}  // extern "C"
