// SPDX-License-Identifier: MIT
//
// Preload object: netlink protocol 29 for kernels that do not have it. A socket
// of that protocol becomes a connection to the topology manager whose address is
// in TARNI_SIM_MANAGER, dressed as netlink. Everything else goes to the next
// definition of the function (another preload object, a sanitizer, the C library).
//
// A descriptor is ours when it is marked and connected to a topology manager: the
// mark alone would go stale when a descriptor is closed and its number used again.

#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <linux/netlink.h>
#include <poll.h>
#include <stdatomic.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <unistd.h>

// The C library declares the addresses as transparent unions, which ISO C lacks.
#pragma GCC diagnostic ignored "-Wpedantic"

#define PROTOCOL 29
#define TYPE_FLAGS (SOCK_CLOEXEC | SOCK_NONBLOCK)

// Every manager's address starts with this, after the zero byte of the abstract
// name space.
static const char kManagerPrefix[] = "tarni-sim-";

// Port id of each of our sockets. 0: not ours.
#define MAX_DESCRIPTORS 65536
#define UNBOUND UINT32_MAX
static _Atomic uint32_t port_ids[MAX_DESCRIPTORS];

// ---- The next definitions ----

static struct {
  int (*socket)(int, int, int);
  int (*connect)(int, const struct sockaddr*, socklen_t);
  int (*bind)(int, const struct sockaddr*, socklen_t);
  int (*getsockname)(int, struct sockaddr*, socklen_t*);
  int (*setsockopt)(int, int, int, const void*, socklen_t);
  ssize_t (*sendmsg)(int, const struct msghdr*, int);
  ssize_t (*sendto)(int, const void*, size_t, int, const struct sockaddr*, socklen_t);
  ssize_t (*recvmsg)(int, struct msghdr*, int);
} next;

// Looked up before main, so that passing a call on is safe in a signal handler.
// NEXT is for objects that are initialised earlier than this one.
#define LOOK_UP(name) (*(void**)& next.name = dlsym(RTLD_NEXT, #name))
#define NEXT(name) (next.name ? (void)0 : (void)LOOK_UP(name), next.name)

// umockdev's object calls the C library directly: behind it, nobody would get here.
static void complain_of_order(void) {
  Dl_info first;
  void* function = dlsym(RTLD_DEFAULT, "socket");
  if (getenv("TARNI_SIM_MANAGER") && function && dladdr(function, &first) && first.dli_fname &&
      strstr(first.dli_fname, "libumockdev-preload")) {
    (void)fputs("libtarni-netlink.so has to come before libumockdev-preload.so.0 in LD_PRELOAD\n",
                stderr);
  }
}

__attribute__((constructor)) static void look_up_all(void) {
  complain_of_order();
  LOOK_UP(socket);
  LOOK_UP(connect);
  LOOK_UP(bind);
  LOOK_UP(getsockname);
  LOOK_UP(setsockopt);
  LOOK_UP(sendmsg);
  LOOK_UP(sendto);
  LOOK_UP(recvmsg);
}

// ---- Which descriptors are ours ----

static int peer_is_a_manager(int fd) {
  struct sockaddr_un peer;
  socklen_t length = sizeof peer;
  memset(&peer, 0, sizeof peer);
  return getpeername(fd, (struct sockaddr*)&peer, &length) == 0 && peer.sun_family == AF_UNIX &&
         peer.sun_path[0] == '\0' &&
         strncmp(peer.sun_path + 1, kManagerPrefix, sizeof kManagerPrefix - 1) == 0;
}

static int is_ours(int fd) {
  if (fd < 0 || fd >= MAX_DESCRIPTORS) return 0;
  uint32_t mark = atomic_load(&port_ids[fd]);
  if (mark == 0) return 0;
  int saved = errno;
  int ours = peer_is_a_manager(fd);
  errno = saved;
  if (!ours) atomic_compare_exchange_strong(&port_ids[fd], &mark, 0);
  return ours;
}

// ---- Opening ----

static int fail(int error) {
  errno = error;
  return -1;
}

// Returns the address's length, 0 when there is no manager.
static socklen_t manager_address(struct sockaddr_un* address) {
  const char* text = getenv("TARNI_SIM_MANAGER");
  size_t length = text ? strlen(text) : 0;
  if (length < 2 || length > sizeof address->sun_path || text[0] != '@') return 0;
  memset(address, 0, sizeof *address);
  address->sun_family = AF_UNIX;
  memcpy(address->sun_path + 1, text + 1, length - 1);
  return (socklen_t)(offsetof(struct sockaddr_un, sun_path) + length);
}

static int connect_to_manager(int fd, int flags) {
  struct sockaddr_un address;
  socklen_t length = manager_address(&address);
  if (length == 0 || NEXT(connect)(fd, (struct sockaddr*)&address, length) != 0) return 0;
  if (flags & SOCK_NONBLOCK) return fcntl(fd, F_SETFL, O_NONBLOCK) == 0;
  return 1;
}

static int open_socket(int type) {
  int flags = type & TYPE_FLAGS;
  type &= ~TYPE_FLAGS;
  if (type != SOCK_RAW && type != SOCK_DGRAM) return fail(ESOCKTNOSUPPORT);
  // Not non-blocking yet: a busy manager would turn the connection down.
  int fd = NEXT(socket)(AF_UNIX, SOCK_SEQPACKET | (flags & SOCK_CLOEXEC), 0);
  if (fd < 0) return fd;
  if (fd >= MAX_DESCRIPTORS) {
    close(fd);
    return fail(EMFILE);
  }
  if (!connect_to_manager(fd, flags)) {
    close(fd);
    return fail(EPROTONOSUPPORT);
  }
  atomic_store(&port_ids[fd], UNBOUND);
  return fd;
}

int socket(int domain, int type, int protocol) {
  if (domain == AF_NETLINK && protocol == PROTOCOL) return open_socket(type);
  return NEXT(socket)(domain, type, protocol);
}

// ---- Names and options ----

int bind(int fd, const struct sockaddr* address, socklen_t length) {
  if (!is_ours(fd)) return NEXT(bind)(fd, address, length);
  struct sockaddr_nl name;
  if (length < sizeof name) return fail(EINVAL);
  memcpy(&name, address, sizeof name);
  if (name.nl_family != AF_NETLINK) return fail(EINVAL);
  atomic_store(&port_ids[fd], name.nl_pid ? name.nl_pid : (uint32_t)getpid());
  return 0;
}

static void put_name(void* target, socklen_t* length, uint32_t port_id) {
  struct sockaddr_nl name;
  memset(&name, 0, sizeof name);
  name.nl_family = AF_NETLINK;
  name.nl_pid = port_id;
  memcpy(target, &name, *length < sizeof name ? *length : sizeof name);
  *length = sizeof name;
}

int getsockname(int fd, struct sockaddr* address, socklen_t* length) {
  if (!is_ours(fd)) return NEXT(getsockname)(fd, address, length);
  uint32_t port_id = atomic_load(&port_ids[fd]);
  put_name(address, length, port_id == UNBOUND ? 0 : port_id);
  return 0;
}

// A buffer size says nothing here: a small send buffer, which limits only the
// size of one message on netlink, would hold the sender up.
static int is_netlink_option(int level, int option) {
  return level == SOL_NETLINK ||
         (level == SOL_SOCKET && (option == SO_RCVBUF || option == SO_RCVBUFFORCE ||
                                  option == SO_SNDBUF || option == SO_SNDBUFFORCE));
}

int setsockopt(int fd, int level, int option, const void* value, socklen_t length) {
  if (is_netlink_option(level, option) && is_ours(fd)) return 0;
  return NEXT(setsockopt)(fd, level, option, value, length);
}

// ---- Messages ----

// By system call: a program may have a poll of its own.
static void wait_until_writable(int fd) {
  struct pollfd entry = {.fd = fd, .events = POLLOUT};
  syscall(SYS_ppoll, &entry, 1, NULL, NULL, 0);
}

// The kernel takes a netlink message in at once, so that sending one neither fails
// for want of room nor is interrupted, and a manager that is gone refuses it.
static ssize_t send_to_manager(int fd, const struct msghdr* message, int flags) {
  struct msghdr nameless = *message;
  nameless.msg_name = NULL;
  nameless.msg_namelen = 0;
  int saved = errno;
  ssize_t sent;
  while ((sent = NEXT(sendmsg)(fd, &nameless, flags | MSG_NOSIGNAL | MSG_DONTWAIT)) < 0) {
    if (errno == EPIPE || errno == ECONNRESET || errno == ENOTCONN) return fail(ECONNREFUSED);
    if (errno == EAGAIN)
      wait_until_writable(fd);
    else if (errno != EINTR)
      return -1;
  }
  errno = saved;
  return sent;
}

ssize_t sendmsg(int fd, const struct msghdr* message, int flags) {
  if (!is_ours(fd)) return NEXT(sendmsg)(fd, message, flags);
  return send_to_manager(fd, message, flags);
}

ssize_t sendto(int fd, const void* data, size_t size, int flags, const struct sockaddr* address,
               socklen_t length) {
  if (!is_ours(fd)) return NEXT(sendto)(fd, data, size, flags, address, length);
  struct iovec part = {.iov_base = (void*)data, .iov_len = size};
  struct msghdr message = {.msg_iov = &part, .msg_iovlen = 1};
  return send_to_manager(fd, &message, flags);
}

ssize_t recvmsg(int fd, struct msghdr* message, int flags) {
  if (!is_ours(fd)) return NEXT(recvmsg)(fd, message, flags);
  struct msghdr nameless = *message;
  nameless.msg_name = NULL;
  nameless.msg_namelen = 0;
  ssize_t got = NEXT(recvmsg)(fd, &nameless, flags);
  if (got < 0) return got;
  message->msg_controllen = nameless.msg_controllen;
  message->msg_flags = nameless.msg_flags;
  if (message->msg_name) put_name(message->msg_name, &message->msg_namelen, 0);
  return got;
}
