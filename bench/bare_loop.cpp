// SPDX-License-Identifier: MIT
#include "bare_loop.h"

#include <linux/netlink.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>

#include "measure.h"

namespace tarni::bench {
namespace {

constexpr int kProtocol = 29;
constexpr unsigned char kRegister = 0x01;
constexpr unsigned char kAnswerBit = 0x80;

struct Message {
  nlmsghdr header;
  unsigned char payload[4096];  // 2, code, name
};
constexpr std::uint32_t kRequestBytes = sizeof(nlmsghdr) + 4;

template <typename Function>
ssize_t transfer(Function function, int fd, Message& message, std::size_t size, int flags) {
  sockaddr_nl peer{};
  peer.nl_family = AF_NETLINK;
  iovec part{&message, size};
  msghdr header{&peer, sizeof(peer), &part, 1, nullptr, 0, 0};
  return function(fd, &header, flags);
}

}  // namespace

BareLoop::BareLoop(bool log, void (*callback)())
    : with_log(log),
      call_back(callback),
      socket_fd(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, kProtocol)),
      stop_fd(eventfd(0, EFD_CLOEXEC)) {
  check(socket_fd >= 0, "no socket of the topology manager: is the stand-in preloaded?");
  send(kRegister);
  thread = std::thread(&BareLoop::run, this);
}

BareLoop::~BareLoop() {
  eventfd_write(stop_fd, 1);
  thread.join();
  close(stop_fd);
  close(socket_fd);
}

void BareLoop::send(unsigned char code) const {
  Message message{{kRequestBytes, 12345, NLM_F_REQUEST | NLM_F_MULTI | NLM_F_ACK, 0, 0}, {2, code}};
  check(transfer(sendmsg, socket_fd, message, kRequestBytes, 0) > 0, "sendmsg");
}

void BareLoop::run() const {
  pollfd entries[] = {{socket_fd, POLLIN, 0}, {stop_fd, POLLIN, 0}};
  while (true) {
    write_lines(3);
    poll(entries, std::size(entries), -1);
    write_lines(2);
    if (entries[1].revents != 0) return;
    take_one();
    write_lines(3);
  }
}

void BareLoop::take_one() const {
  Message message{};
  transfer(recvmsg, socket_fd, message, sizeof(message), MSG_PEEK | MSG_TRUNC);
  transfer(recvmsg, socket_fd, message, sizeof(message), 0);
  write_lines(2);
  const unsigned char code = message.payload[1];
  if (code >= kAnswerBit) return;
  call_back();
  send(code | kAnswerBit);
}

// Of the usual length, and with something to format.
void BareLoop::write_lines(int count) const {
  for (int i = 0; with_log && i < count; ++i) {
    std::fprintf(stderr, "[UDF] %s %s%d\n", "Bare loop: line", "/sys/bus/usb/devices/", i);
  }
}

}  // namespace tarni::bench
