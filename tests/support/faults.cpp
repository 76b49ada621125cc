// SPDX-License-Identifier: MIT
#include "support/faults.h"

#include <dlfcn.h>
#include <libusb.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <cerrno>
#include <deque>
#include <mutex>

namespace tarni::test::faults {
namespace {

constexpr int kClientTimeoutMs = 600000;

std::mutex mutex;
Nanosleep nanosleep_replacement;
std::deque<PollResult> poll_script;

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

// The function that the test program's own stands in front of.
template <typename Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

std::atomic<bool> eventfd_fails{false};
std::atomic<bool> netlink_sends_fail{false};
std::atomic<bool> libusb_init_fails{false};
std::atomic<bool> device_lists_fail{false};
std::atomic<int> contexts_closed{0};

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
  int result;
  if (faults::take_scripted(entries, count, timeout, &result)) return result;
  static const auto real = faults::next<decltype(poll)>("poll");
  return real(entries, count, timeout);
}

int eventfd(unsigned int value, int flags) {
  if (faults::eventfd_fails) {
    errno = EMFILE;
    return -1;
  }
  static const auto real = faults::next<decltype(eventfd)>("eventfd");
  return real(value, flags);
}

// libnl sends a single message this way, and libusb sends none.
ssize_t sendmsg(int fd, const msghdr* message, int flags) {
  if (faults::netlink_sends_fail && message->msg_namelen == 12) {
    errno = ECONNREFUSED;
    return -1;
  }
  static const auto real = faults::next<decltype(sendmsg)>("sendmsg");
  return real(fd, message, flags);
}

int libusb_init(libusb_context** context) {
  if (faults::libusb_init_fails) return LIBUSB_ERROR_OTHER;
  static const auto real = faults::next<decltype(libusb_init)>("libusb_init");
  return real(context);
}

void libusb_exit(libusb_context* context) {
  static const auto real = faults::next<decltype(libusb_exit)>("libusb_exit");
  ++faults::contexts_closed;
  real(context);
}

ssize_t libusb_get_device_list(libusb_context* context, libusb_device*** list) {
  if (faults::device_lists_fail) return LIBUSB_ERROR_NO_MEM;
  static const auto real = faults::next<decltype(libusb_get_device_list)>("libusb_get_device_list");
  return real(context, list);
}

}  // extern "C"
