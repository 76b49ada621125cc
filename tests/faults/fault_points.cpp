// SPDX-License-Identifier: MIT
// Calls that faults::fail_call() can make fail, besides those in support/faults.cpp.
#include <dirent.h>
#include <fcntl.h>
#include <libusb.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <new>

#include "support/faults.h"

struct nl_msg;
struct nl_sock;

using namespace tarni::test;

using Start = void* (*)(void*);
using Receive = int (*)(nl_msg*, void*);
using Config = libusb_config_descriptor;
using Descriptor = libusb_device_descriptor;

extern "C" {

// clang-format off
FAULT(int, stat, (const char* a, struct stat* b), (a, b), "stat64", -1, EACCES)
FAULT(DIR*, opendir, (const char* a), (a), "opendir", nullptr, EACCES)
FAULT(dirent*, readdir, (DIR* a), (a), "readdir64", nullptr, EIO)
FAULT(char*, realpath, (const char* a, char* b), (a, b), "realpath", nullptr, ENOENT)
FAULT(FILE*, fopen, (const char* a, const char* b), (a, b), "fopen64", nullptr, EMFILE)
FAULT(ssize_t, read, (int a, void* b, size_t c), (a, b, c), "read", -1, EIO)
FAULT(off_t, lseek, (int a, off_t b, int c), (a, b, c), "lseek64", -1, EINVAL)
FAULT(int, socket, (int a, int b, int c), (a, b, c), "socket", -1, EMFILE)
FAULT(int, bind, (int a, const sockaddr* b, socklen_t c), (a, b, c), "bind", -1, EADDRINUSE)
FAULT(int, getsockname, (int a, sockaddr* b, socklen_t* c), (a, b, c), "getsockname", -1, ENOBUFS)
FAULT(int, setsockopt, (int a, int b, int c, const void* d, socklen_t e), (a, b, c, d, e), "setsockopt", -1, EPERM)
FAULT(ssize_t, recvmsg, (int a, msghdr* b, int c), (a, b, c), "recvmsg", -1, ENOBUFS)
FAULT(int, pthread_create, (pthread_t* a, const pthread_attr_t* b, Start c, void* d), (a, b, c, d), "pthread_create", EAGAIN, 0)
FAULT(int, libusb_get_device_descriptor, (libusb_device* a, Descriptor* b), (a, b), "libusb_get_device_descriptor", -1, 0)
FAULT(int, libusb_get_active_config_descriptor, (libusb_device* a, Config** b), (a, b), "libusb_get_active_config_descriptor", -5, 0)
FAULT(int, libusb_get_port_numbers, (libusb_device* a, uint8_t* b, int c), (a, b, c), "libusb_get_port_numbers", -8, 0)
FAULT(nl_sock*, nl_socket_alloc, (), (), "nl_socket_alloc", nullptr, ENOMEM)
FAULT(int, nl_socket_modify_cb, (nl_sock* a, int b, int c, Receive d, void* e), (a, b, c, d, e), "nl_socket_modify_cb", -16, 0)
FAULT(int, nl_connect, (nl_sock* a, int b), (a, b), "nl_connect", -5, 0)
FAULT(int, nl_send_simple, (nl_sock* a, int b, int c, void* d, size_t e), (a, b, c, d, e), "nl_send_simple", -5, 0)
FAULT(int, nl_recvmsgs_default, (nl_sock* a), (a), "nl_recvmsgs_default", -5, 0)
// clang-format on

int closedir(DIR* directory) {
  static const auto real = faults::next<int(DIR*)>("closedir");
  const int result = real(directory);
  return faults::strikes("closedir", __builtin_return_address(0)) ? -1 : result;
}

int fcntl(int fd, int command, ...) {
  if (faults::strikes("fcntl64", __builtin_return_address(0))) return -1;
  std::va_list arguments;
  va_start(arguments, command);
  void* argument = va_arg(arguments, void*);
  va_end(arguments);
  static const auto real = faults::next<int(int, int, ...)>("fcntl64");
  return real(fd, command, argument);
}

}  // extern "C"

void* operator new(std::size_t size) {
  if (faults::strikes("operator new", __builtin_return_address(0))) throw std::bad_alloc();
  static const auto real = faults::next<void*(std::size_t)>(sizeof(size) == 8 ? "_Znwm" : "_Znwj");
  return real(size);
}
