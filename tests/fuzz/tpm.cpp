// SPDX-License-Identifier: MIT
// What the client of the topology manager receives, through poll and libnl. fuzz_payload
// puts the input into a message; otherwise it is two datagrams, of which the first byte
// tells where one ends, in units of four bytes.
#include <linux/netlink.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cassert>
#include <cstring>
#include <thread>
#include <utility>

#include "events/publisher.h"
#include "sim/netlink_message.h"
#include "tpm/finder_tpmgr.h"

namespace {

int ends[2];  // the client's socket, and the kernel's end
int acknowledged;
std::atomic<int> delivered;
std::string last_path;

void send_datagram(tarni::sim::Bytes bytes) {
  bytes.resize((bytes.size() + 3) / 4 * 4);  // as the kernel does it
  if (!bytes.empty()) send(ends[1], bytes.data(), bytes.size(), 0);
}

struct Client {
  Client() {
    publisher->subscribe_to_all([](usb_event_info event) {
      last_path = event.path;
      ++delivered;
    });
    assert(tpmgr.init(publisher) == 0);
  }

  // Every event is acknowledged, and every acknowledgement is for one.
  void read() {
    char byte;
    acknowledged = delivered = 0;
    while (recv(ends[0], &byte, 1, MSG_PEEK | MSG_DONTWAIT) > 0) tpmgr.wait_for_status_change();
    while (delivered < acknowledged) std::this_thread::yield();
    assert(delivered == acknowledged);
  }

  std::shared_ptr<tarni::Publisher> publisher = std::make_shared<tarni::Publisher>();
  tarni::FinderTPMgr tpmgr{29};
};

}  // namespace

// Netlink on a pair of local sockets. What the client sends is counted and dropped.
extern "C" {

int socket(int, int, int) {
  assert(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends) == 0);
  send_datagram(tarni::sim::done_message({2, 0x81}));  // registered
  return ends[0];
}

int bind(int, const sockaddr*, socklen_t) {
  return 0;
}

int setsockopt(int, int, int, const void*, socklen_t) {
  return 0;
}

int getsockname(int, sockaddr* address, socklen_t* length) {
  const sockaddr_nl name{AF_NETLINK, 0, 0, 0};
  std::memcpy(address, &name, *length = sizeof(name));
  return 0;
}

ssize_t sendmsg(int, const msghdr* message, int) {
  ++acknowledged;
  return static_cast<ssize_t>(message->msg_iov->iov_len);
}

ssize_t recvmsg(int fd, msghdr* message, int flags) {
  void* name = std::exchange(message->msg_name, nullptr);
  const ssize_t got = syscall(SYS_recvmsg, fd, message, flags);
  message->msg_name = name;
  getsockname(fd, static_cast<sockaddr*>(name), &message->msg_namelen);
  return got;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Client client;
  if (size < 2) return 0;
#ifdef FUZZ_PAYLOAD
  send_datagram(tarni::sim::done_message({data, data + size}));
  client.read();
  const std::size_t begin = data[1] == 4 || data[1] == 5 ? 3 : 2;
  const std::string input(data, data + size);
  const std::string name = input.substr(std::min(begin, size)).c_str();
  assert(!acknowledged || last_path == ("/sys/bus/usb/devices/" + name).substr(0, 255));
#else
  const std::uint8_t* middle = data + 1 + std::min(data[0] * std::size_t{4}, size - 1);
  send_datagram({data + 1, middle});
  send_datagram({middle, data + size});
  client.read();
#endif
  return 0;
}

}  // extern "C"
