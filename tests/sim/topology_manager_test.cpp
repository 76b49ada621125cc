// SPDX-License-Identifier: MIT
#include "sim/topology_manager.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/netlink.h>
#include <netlink/msg.h>
#include <netlink/netlink.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <thread>

namespace tarni::sim {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

const Bytes kRegister{2, 1, 0};
const Bytes kQuery{2, 7, 0};

// A host with one netlink socket, that of libnl.
class Host {
 public:
  Host() {
    nl_socket_disable_seq_check(socket_);
    nl_socket_modify_cb(socket_, NL_CB_FINISH, NL_CB_CUSTOM, on_message, this);
    error = nl_connect(socket_, 29);
  }
  ~Host() { nl_socket_free(socket_); }
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  int fd() const { return nl_socket_get_fd(socket_); }
  nl_sock* socket() { return socket_; }
  int send(Bytes payload) {
    return nl_send_simple(socket_, 12345, NLM_F_REQUEST | NLM_F_MULTI, payload.data(),
                          payload.size());
  }
  // revents; 0 when nothing comes.
  int wait(int limit_ms = 5000) const {
    pollfd entry{fd(), POLLIN, 0};
    return poll(&entry, 1, limit_ms) > 0 ? entry.revents : 0;
  }
  // The messages of one read.
  std::vector<Bytes> hear() {
    heard_.clear();
    if (wait() != 0) nl_recvmsgs_default(socket_);
    return heard_;
  }

  int error = 0;
  bool acknowledging = false;

 private:
  static int on_message(nl_msg* message, void* self) {
    const nlmsghdr* header = nlmsg_hdr(message);
    const auto* data = static_cast<const std::uint8_t*>(nlmsg_data(header));
    Host& host = *static_cast<Host*>(self);
    host.heard_.emplace_back(data, data + nlmsg_datalen(header));
    if (host.acknowledging) host.send({2, static_cast<std::uint8_t>(data[1] | 0x80)});
    return NL_OK;
  }

  nl_sock* socket_ = nl_socket_alloc();
  std::vector<Bytes> heard_;
};

class TopologyManagerTest : public testing::Test {
 protected:
  TopologyManagerTest() { manager_.publish_address(); }

  void register_host(Host& host) {
    ASSERT_EQ(host.error, 0);
    ASSERT_GT(host.send(kRegister), 0);
    ASSERT_EQ(host.hear(), std::vector<Bytes>({{2, 0x81}}));
    ASSERT_TRUE(manager_.wait_for_registration());
  }

  TopologyManager manager_;
};

TEST_F(TopologyManagerTest, NotifiesRegisteredHostsOnly) {
  Host host, mute;
  mute.send({2, 0x82});
  register_host(host);
  EXPECT_EQ(manager_.device_attached("1-1.4"), 1);
  EXPECT_EQ(host.hear(), std::vector<Bytes>({{2, 2, '1', '-', '1', '.', '4', 0}}));
  EXPECT_EQ(manager_.overcurrent("1-1", 3), 1);
  EXPECT_EQ(host.hear(), std::vector<Bytes>({{2, 4, 3, '1', '-', '1', 0}}));
  EXPECT_EQ(manager_.send_payload({2, 9}, 2), 1);
  EXPECT_EQ(mute.wait(0) + host.wait(0), POLLIN);
  host.send({2, 0x84});
  const auto ack = manager_.wait_for([](const auto& m) { return m.code() == 0x84; });
  ASSERT_TRUE(ack);
  EXPECT_EQ(ack->type, 12345);
  EXPECT_EQ(ack->flags, 7);
  EXPECT_EQ(ack->payload, (Bytes{2, 0x84, 0, 0}));
  EXPECT_TRUE(manager_.wait_for_ack(0x82));
  EXPECT_FALSE(manager_.wait_for_ack(0x82, milliseconds(0)));
  EXPECT_EQ(manager_.received().size(), 3u);
}

TEST_F(TopologyManagerTest, AnswersAsTold) {
  Host host;
  const auto start = steady_clock::now();
  manager_.answer_register(milliseconds(150));
  register_host(host);
  EXPECT_GE(steady_clock::now() - start, milliseconds(150));
  manager_.answer_current_draw(500);
  host.send(kQuery);
  EXPECT_EQ(host.hear(), std::vector<Bytes>({{2, 0x87, 0, 0, 0, 1, 0xf4}}));
  manager_.answer_current_draw(-2, milliseconds(50));
  host.send(kQuery);
  EXPECT_EQ(host.hear(), std::vector<Bytes>({{2, 0x87, 0, 0xff, 0xff, 0xff, 0xfe}}));
  EXPECT_TRUE(manager_.wait_for_query() && manager_.wait_for_query());
  manager_.ignore_current_draw();
  manager_.ignore_register();
  host.send(kQuery);
  host.send(kRegister);
  ASSERT_TRUE(manager_.wait_for_query() && manager_.wait_for_registration());
  manager_.fail_current_draw();
  host.send(kQuery);
  EXPECT_EQ(host.hear(), std::vector<Bytes>({{2, 0x87, 1, 0, 0, 0, 0}}));
}

TEST_F(TopologyManagerTest, PutsSeveralMessagesIntoOneRead) {
  Host host;
  register_host(host);
  manager_.send_together({{2, 3, '1', 0}, {2, 10, '2'}, {}});
  EXPECT_EQ(host.hear(), std::vector<Bytes>({{2, 3, '1', 0}, {2, 10, '2'}, {}}));
  manager_.send_datagram({1, 2, 3});
  EXPECT_EQ(host.hear(), std::vector<Bytes>());
  manager_.hub_attached("1-1");
  EXPECT_EQ(host.hear().size(), 1u);
}

// A manager that read only between its notifications would wait for the host,
// which waits for it to take the acknowledgements.
TEST_F(TopologyManagerTest, TakesAcknowledgementsWhileItFloods) {
  constexpr std::size_t kCount = 20000;
  Host host;
  register_host(host);
  host.acknowledging = true;
  nl_socket_set_nonblocking(host.socket());
  std::thread listening([&] {
    while (!host.hear().empty()) {
    }
  });
  EXPECT_EQ(manager_.burst(kCount, notification_payload(Notification::kDeviceAttached, "1-1")), 1);
  EXPECT_TRUE(manager_.wait_for_acks(0x82, kCount, milliseconds(60000)));
  manager_.hang_up();
  listening.join();
}

TEST_F(TopologyManagerTest, HangsUpAndTakesNewConnections) {
  Host host;
  register_host(host);
  manager_.device_removed("1-1");
  host.send({2, 0x83});
  manager_.hang_up();
  EXPECT_TRUE(manager_.wait_for_ack(0x83, milliseconds(0)));
  EXPECT_EQ(manager_.connections(), 0u);
  EXPECT_EQ(host.hear().size(), 1u);
  EXPECT_EQ(host.wait(), POLLIN | POLLHUP);
  EXPECT_LT(host.send(kQuery), 0);
  {
    Host again;
    register_host(again);
    EXPECT_EQ(manager_.device_attached("1-1"), 1);
  }
  EXPECT_TRUE(manager_.wait_for_connections(0));
}

TEST_F(TopologyManagerTest, LeavesNoDescriptorToChildren) {
  const auto may_leak = [](int fd) { return (fcntl(fd, F_GETFD) & FD_CLOEXEC) == 0; };
  std::vector<int> before;
  for (int fd = 0; fd < 64; ++fd) before.push_back(may_leak(fd));
  TopologyManager manager;
  manager.publish_address();
  Host host;
  host.send(kRegister);
  ASSERT_TRUE(manager.wait_for_registration());
  for (int fd = 0; fd < 64; ++fd) EXPECT_EQ(may_leak(fd), before[static_cast<std::size_t>(fd)]);
}

TEST_F(TopologyManagerTest, KeepsHostsOfTwoManagersApart) {
  Host host;
  TopologyManager other;
  other.publish_address();
  Host other_host;
  register_host(host);
  other_host.send(kRegister);
  ASSERT_TRUE(other.wait_for_registration());
  EXPECT_EQ(manager_.connections() + other.connections(), 2u);
  EXPECT_EQ(other.device_attached("1-1"), 1);
  EXPECT_EQ(host.wait(0), 0);
}

TEST_F(TopologyManagerTest, LooksLikeNetlink) {
  const int fd = socket(AF_NETLINK, SOCK_RAW | SOCK_NONBLOCK | SOCK_CLOEXEC, 29);
  EXPECT_EQ(fcntl(fd, F_GETFL) & O_NONBLOCK, O_NONBLOCK);
  sockaddr_nl name{};
  name.nl_family = AF_NETLINK;
  name.nl_pid = 77;
  EXPECT_EQ(bind(fd, reinterpret_cast<sockaddr*>(&name), sizeof name), 0);
  const int size = 1 << 20;
  EXPECT_EQ(setsockopt(fd, SOL_NETLINK, NETLINK_NO_ENOBUFS, &size, sizeof size), 0);
  EXPECT_EQ(setsockopt(fd, SOL_SOCKET, SO_RCVBUFFORCE, &size, sizeof size), 0);
  name = {};
  socklen_t length = sizeof name;
  EXPECT_EQ(getsockname(fd, reinterpret_cast<sockaddr*>(&name), &length), 0);
  EXPECT_EQ(length, 12u);
  EXPECT_EQ(name.nl_family, AF_NETLINK);
  EXPECT_EQ(name.nl_pid, 77u);
  const char message[200] = {};
  for (int i = 0; i < 5000; ++i) {
    ASSERT_EQ(sendto(fd, message, sizeof message, 0, reinterpret_cast<sockaddr*>(&name), length),
              200);
  }
  close(fd);

  int pair[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0, pair), 0);
  ASSERT_EQ(pair[0], fd) << "the number of a netlink socket, used again";
  length = sizeof name;
  EXPECT_EQ(getsockname(fd, reinterpret_cast<sockaddr*>(&name), &length), 0);
  EXPECT_EQ(name.nl_family, AF_UNIX);
  close(pair[0]);
  close(pair[1]);
}

TEST_F(TopologyManagerTest, IsAMissingProtocolWithoutManager) {
  { TopologyManager().publish_address(); }
  EXPECT_EQ(Host().error, -26);
  unsetenv(kManagerVariable);
  EXPECT_EQ(socket(AF_NETLINK, SOCK_RAW, 29), -1);
  EXPECT_EQ(errno, EPROTONOSUPPORT);
}

}  // namespace
}  // namespace tarni::sim
