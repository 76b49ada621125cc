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
#include <tuple>

#include "sim/unique_fd.h"

namespace tarni::sim {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using Messages = std::vector<Bytes>;

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

  int send(Bytes payload) {
    return nl_send_simple(socket_, 12345, 3, payload.data(), payload.size());
  }
  // revents; 0 when nothing comes.
  int wait(int limit_ms = 5000) const {
    pollfd entry{nl_socket_get_fd(socket_), POLLIN, 0};
    return poll(&entry, 1, limit_ms) > 0 ? entry.revents : 0;
  }
  // The messages of one read.
  Messages hear() {
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
  Messages heard_;
};

class TopologyManagerTest : public testing::Test {
 protected:
  TopologyManagerTest() { manager_.publish_address(); }

  void register_host(Host& host) {
    ASSERT_GT(host.send(kRegister), 0);
    ASSERT_EQ(host.hear(), Messages({{2, 0x81}}));
    ASSERT_TRUE(manager_.wait_for_registration());
  }

  TopologyManager manager_;
};

TEST_F(TopologyManagerTest, NotifiesRegisteredHostsAndHearsThem) {
  Host mute, host;
  register_host(host);
  EXPECT_EQ(manager_.device_attached("1-1.4"), 1);
  EXPECT_EQ(host.hear(), Messages({{2, 2, '1', '-', '1', '.', '4', 0}}));
  EXPECT_EQ(manager_.overcurrent("1-1", 3), 1);
  EXPECT_EQ(host.hear(), Messages({{2, 4, 3, '1', '-', '1', 0}}));
  manager_.send_together({{2, 3, '1', 0}, {2, 10, '2'}, {}});
  EXPECT_EQ(host.hear(), Messages({{2, 3, '1', 0}, {2, 10, '2'}, {}}));
  EXPECT_EQ(mute.wait(0), 0);
  host.send({2, 0x84});
  host.send({2, 0x82});
  EXPECT_TRUE(manager_.wait_for_ack(0x82));
  EXPECT_FALSE(manager_.wait_for_ack(0x82, milliseconds(0)));
  const auto ack = manager_.wait_for([](const auto& m) { return m.connection == 2; });
  ASSERT_TRUE(ack);
  EXPECT_EQ(ack->payload, (Bytes{2, 0x84, 0, 0}));
  EXPECT_EQ(std::make_tuple(ack->type, ack->flags), std::make_tuple(12345, 7));
}

TEST_F(TopologyManagerTest, AnswersAsTold) {
  Host host;
  const auto start = steady_clock::now();
  manager_.answer_register(milliseconds(100));
  register_host(host);
  EXPECT_GE(steady_clock::now() - start, milliseconds(100));
  manager_.answer_current_draw(500, milliseconds(1));
  host.send(kQuery);
  EXPECT_EQ(host.hear(), Messages({{2, 0x87, 0, 0, 0, 1, 0xf4}}));
  ASSERT_TRUE(manager_.wait_for_query());
  manager_.ignore_current_draw();
  manager_.ignore_register();
  host.send(kRegister);
  host.send(kQuery);
  ASSERT_TRUE(manager_.wait_for_query());
  manager_.fail_current_draw();
  host.send(kQuery);
  EXPECT_EQ(host.hear(), Messages({{2, 0x87, 1, 0, 0, 0, 0}}));
}

// A manager that did not read while it sends would wait for the host, and the
// host for the manager to take the acknowledgements.
TEST_F(TopologyManagerTest, TakesAcknowledgementsWhileItFloods) {
  constexpr std::size_t kCount = 5000;
  Host host;
  register_host(host);
  host.acknowledging = true;
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
  EXPECT_EQ(host.hear().size(), 1u);
  EXPECT_EQ(host.wait(), POLLIN | POLLHUP);
  EXPECT_LT(host.send(kQuery), 0);
  Host again;
  register_host(again);
}

TEST_F(TopologyManagerTest, LooksLikeNetlink) {
  const int fd = socket(AF_NETLINK, SOCK_RAW | SOCK_NONBLOCK | SOCK_CLOEXEC, 29);
  sockaddr_nl name{};
  name.nl_family = AF_NETLINK;
  name.nl_pid = 77;
  socklen_t length = sizeof name;
  auto* const generic_name = reinterpret_cast<sockaddr*>(&name);
  EXPECT_EQ(bind(fd, generic_name, length), 0);
  EXPECT_EQ(setsockopt(fd, SOL_NETLINK, NETLINK_NO_ENOBUFS, &length, sizeof length), 0);
  name = {};
  EXPECT_EQ(getsockname(fd, generic_name, &length), 0);
  EXPECT_EQ(std::make_tuple(length, name.nl_family, name.nl_pid), std::make_tuple(12u, 16, 77u));
  for (int i = 0; i < 5000; ++i) {
    ASSERT_EQ(sendto(fd, kQuery.data(), kQuery.size(), 0, generic_name, length), 3);
  }
  close(fd);
  EXPECT_TRUE(manager_.wait_for_connections(0));
  const UniqueFd again(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  ASSERT_EQ(again.get(), fd) << "the number of a netlink socket, used again";
  EXPECT_EQ(getsockname(fd, generic_name, &length), 0);
  EXPECT_EQ(name.nl_family, AF_UNIX);
}

TEST_F(TopologyManagerTest, IsAMissingProtocolWithoutManager) {
  TopologyManager().publish_address();
  EXPECT_EQ(Host().error, -26);
  unsetenv(kManagerVariable);
  EXPECT_EQ(socket(AF_NETLINK, SOCK_RAW, 29), -1);
  EXPECT_EQ(errno, EPROTONOSUPPORT);
}

}  // namespace
}  // namespace tarni::sim
