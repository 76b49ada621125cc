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

extern "C" {

// Functions that fail when it is their turn and pass on otherwise, by the number of
// their parameters: type, name, symbol, failure, errno, types of the parameters.
#define PASS_ON(type, symbol, failure, error, types, arguments) \
  if (faults::strikes(symbol, __builtin_return_address(0))) {   \
    errno = error;                                              \
    return failure;                                             \
  }                                                             \
  static const auto real = faults::next<type types>(symbol);    \
  return real arguments
#define FAULT_1(type, name, symbol, failure, error, A) \
  type name(A a) {                                     \
    PASS_ON(type, symbol, failure, error, (A), (a));   \
  }
#define FAULT_2(type, name, symbol, failure, error, A, B)  \
  type name(A a, B b) {                                    \
    PASS_ON(type, symbol, failure, error, (A, B), (a, b)); \
  }
#define FAULT_3(type, name, symbol, failure, error, A, B, C)     \
  type name(A a, B b, C c) {                                     \
    PASS_ON(type, symbol, failure, error, (A, B, C), (a, b, c)); \
  }
#define FAULT_5(type, name, symbol, failure, error, A, B, C, D, E)           \
  type name(A a, B b, C c, D d, E e) {                                       \
    PASS_ON(type, symbol, failure, error, (A, B, C, D, E), (a, b, c, d, e)); \
  }
using Start = void* (*)(void*);
using Receive = int (*)(nl_msg*, void*);
using Config = libusb_config_descriptor;

// clang-format off
FAULT_2(int, stat, "stat64", -1, EACCES, const char*, struct stat*)
FAULT_1(DIR*, opendir, "opendir", nullptr, EACCES, const char*)
FAULT_1(dirent*, readdir, "readdir64", nullptr, EIO, DIR*)
FAULT_2(char*, realpath, "realpath", nullptr, ENOENT, const char*, char*)
FAULT_2(FILE*, fopen, "fopen64", nullptr, EMFILE, const char*, const char*)
FAULT_3(ssize_t, read, "read", -1, EIO, int, void*, size_t)
FAULT_3(off_t, lseek, "lseek64", -1, EINVAL, int, off_t, int)
FAULT_3(int, socket, "socket", -1, EMFILE, int, int, int)
FAULT_3(int, bind, "bind", -1, EADDRINUSE, int, const sockaddr*, socklen_t)
FAULT_3(int, getsockname, "getsockname", -1, ENOBUFS, int, sockaddr*, socklen_t*)
FAULT_5(int, setsockopt, "setsockopt", -1, EPERM, int, int, int, const void*, socklen_t)
FAULT_3(ssize_t, recvmsg, "recvmsg", -1, ENOBUFS, int, msghdr*, int)
FAULT_2(int, libusb_get_device_descriptor, "libusb_get_device_descriptor", -1, 0, libusb_device*, libusb_device_descriptor*)
FAULT_2(int, libusb_get_active_config_descriptor, "libusb_get_active_config_descriptor", -5, 0, libusb_device*, Config**)
FAULT_3(int, libusb_get_port_numbers, "libusb_get_port_numbers", -8, 0, libusb_device*, uint8_t*, int)
FAULT_5(int, nl_socket_modify_cb, "nl_socket_modify_cb", -16, 0, nl_sock*, int, int, Receive, void*)
FAULT_2(int, nl_connect, "nl_connect", -5, 0, nl_sock*, int)
FAULT_5(int, nl_send_simple, "nl_send_simple", -5, 0, nl_sock*, int, int, void*, size_t)
FAULT_1(int, nl_recvmsgs_default, "nl_recvmsgs_default", -5, 0, nl_sock*)
// clang-format on

nl_sock* nl_socket_alloc() {
  PASS_ON(nl_sock*, "nl_socket_alloc", nullptr, ENOMEM, (), ());
}

int pthread_create(pthread_t* a, const pthread_attr_t* b, Start c, void* d) {
  PASS_ON(int, "pthread_create", EAGAIN, 0, (pthread_t*, const pthread_attr_t*, Start, void*),
          (a, b, c, d));
}

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
