// SPDX-License-Identifier: MIT
#include "tpm/finder_tpmgr.h"

#include <gtest/gtest.h>
#include <poll.h>

#include <atomic>
#include <mutex>
#include <optional>
#include <thread>

#include "events/publisher.h"
#include "support/machine.h"

namespace tarni {
namespace {

using sim::Bytes;
using sim::Notification;
using std::chrono::milliseconds;

constexpr char kNlFailed[] = "[UDF] nl_send_simple() threw errcode ";

// A client on its own, with a thread that waits as a finder's does.
class FinderTPMgrTest : public test::MachineTest {
 protected:
  FinderTPMgrTest() {
    publisher->subscribe_to_all([this](usb_event_info info) {
      const std::lock_guard<std::mutex> lock(mutex);
      events.push_back(std::to_string(info.type) + " " + info.path);
    });
    log.clear();
  }
  ~FinderTPMgrTest() override {
    stop();
    client.reset();
    publisher.reset();  // its callback uses what follows
  }

  int start() {
    const int result = client->init(publisher);
    listener = std::thread([this] {
      while (!stopping && client->wait_for_status_change() >= 0) {
      }
    });
    return result;
  }

  void stop() {
    if (!listener.joinable()) return;
    stopping = true;
    client->disconnect();
    listener.join();
  }

  std::vector<std::string> received() {
    const std::lock_guard<std::mutex> lock(mutex);
    return events;
  }

  // The next message that is not an acknowledgement still has to be handled: says
  // something, and waits until it was taken in.
  void expect_alive() {
    manager.device_attached("alive");
    EXPECT_TRUE(manager.wait_for_ack(0x82));
  }

  std::shared_ptr<Publisher> publisher = std::make_shared<Publisher>();
  std::optional<FinderTPMgr> client{29};
  std::mutex mutex;
  std::vector<std::string> events;
  std::atomic<bool> stopping{false};
  std::thread listener;
};

TEST_F(FinderTPMgrTest, RegistersWithTheTopologyManager) {
  ASSERT_EQ(start(), 0);
  const auto sent = manager.received();
  ASSERT_EQ(sent.size(), 1u);
  EXPECT_EQ(sent[0].type, 12345);
  EXPECT_EQ(sent[0].flags, 7) << "request, multi, and libnl's own acknowledge";
  EXPECT_EQ(sent[0].payload, (Bytes{2, 1, 0, 0})) << "three bytes, padded by libnl";
  EXPECT_EQ(log.text().rfind("[UDF] Inside prepare_socket\n"
                             "[UDF] Register message send with 20 bytes.\n"
                             "[UDF] Going to block on POLL\n"
                             "[UDF] POLL returned - revents0 - 1, termi_revents - 0\n"
                             "[UDF] Waiting for topology manager request...\n"
                             "[UDF] FinderTPMgr : Inside nl recv callback\n"
                             "[UDF] KLAV_usb_tpm: Register ack received \n",
                             0),
            0u)
      << log.text();
}

TEST_F(FinderTPMgrTest, PublishesAndAcknowledgesEveryNotification) {
  ASSERT_EQ(start(), 0);
  const struct {
    std::uint8_t code;
    const char* event;
    const char* line;
  } cases[] = {
      {2, "0 ", "FinderTPMgr: Device Attach /sys/bus/usb/devices/1-1.2\n"},
      {3, "1 ", "KLAV_usb_tpm: Device Removed /sys/bus/usb/devices/1-1.2\n"},
      {4, "3 ",
       "KLAV_usb_tpm: Overcurrent detected on hub /sys/bus/usb/devices/1-1.2, portnum = 200\n"},
      {5, "4 ",
       "KLAV_usb_tpm: Overcurrent removed on hub /sys/bus/usb/devices/1-1.2, portnum = 200\n"},
      {6, "2 ", "KLAV_usb_tpm: Hub attach /sys/bus/usb/devices/1-1.2\n"},
      {8, "5 ", "KLAV_usb_tpm: Unsupported device at /sys/bus/usb/devices/1-1.2\n"},
      {10, "6 ", "KLAV_usb_tpm: Hub Removed /sys/bus/usb/devices/1-1.2\n"},
      {11, "7 ", "KLAV_usb_tpm: OCCLUDED_Hub attach /sys/bus/usb/devices/1-1.2\n"},
      {12, "8 ", "KLAV_usb_tpm: OCCLUDED_Hub Removed /sys/bus/usb/devices/1-1.2\n"}};
  std::vector<std::string> expected;
  for (const auto& c : cases) {
    manager.notify(Notification{c.code}, "1-1.2", 200);
    const auto ack = manager.wait_for(
        [&](const sim::ReceivedMessage& m) { return m.code() == (c.code | 0x80); });
    ASSERT_TRUE(ack) << int{c.code};
    EXPECT_EQ(ack->payload, (Bytes{2, static_cast<std::uint8_t>(c.code + 0x80), 0, 0}));
    EXPECT_EQ(ack->type, 12345);
    EXPECT_TRUE(log.contains(std::string("[UDF] ") + c.line)) << log.text();
    expected.push_back(std::string(c.event) + "/sys/bus/usb/devices/1-1.2");
  }
  EXPECT_TRUE(test::eventually([&] { return received() == expected; }));
}

TEST_F(FinderTPMgrTest, TakesSeveralMessagesInOneReadInOrder) {
  ASSERT_EQ(start(), 0);
  manager.send_together({sim::notification_payload(Notification::kHubAttached, "1-1"),
                         sim::notification_payload(Notification::kDeviceAttached, ""),
                         sim::notification_payload(Notification::kHubRemoved, "1-1")});
  ASSERT_TRUE(manager.wait_for_ack(0x8A));
  const auto sent = manager.received();
  ASSERT_EQ(sent.size(), 4u);
  EXPECT_EQ(sent[1].code(), 0x86);
  EXPECT_EQ(sent[2].code(), 0x82);
  const std::string path = "/sys/bus/usb/devices/";
  EXPECT_TRUE(test::eventually([&] {
    return received() ==
           std::vector<std::string>{"2 " + path + "1-1", "0 " + path, "6 " + path + "1-1"};
  }));
}

TEST_F(FinderTPMgrTest, LivesThroughWhatItDoesNotKnow) {
  ASSERT_EQ(start(), 0);
  for (const int code : {0, 1, 7, 9, 13, 128, 130, 200, 255}) {
    manager.send_payload({2, static_cast<std::uint8_t>(code), '1', 0});
  }
  manager.send_payload({});
  ASSERT_TRUE(log.wait_for("[UDF] KLAV_usb_tpm: unrecognized notification\n", 10));
  // Fields that are missing read as zero.
  manager.send_payload({2, 0x87});
  EXPECT_TRUE(log.wait_for("[UDF] KLAV_usb_tpm: Total Current draw reported : 0\n"));
  // A name without a terminator ends with its message.
  manager.send_payload({2, 3, '1', '-', '1', '.', '1', '2'});
  ASSERT_TRUE(manager.wait_for_ack(0x83));
  ASSERT_TRUE(test::eventually([this] { return received().size() == 1; }));
  EXPECT_EQ(received()[0], "1 /sys/bus/usb/devices/1-1.12");
  // Another netlink type, marked as one of several: libnl reads on at once, and
  // finds nothing. A length that is too large; less than a header.
  manager.send_datagram({20, 0, 0, 0, 0x39, 0x30, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2, 2, '1', 0});
  EXPECT_TRUE(log.wait_for("[UDF] nl_recvmsgs_default() threw errcode -"));
  manager.send_datagram({99, 0, 0, 0, 3, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2, 2, '1', 0});
  manager.send_datagram({1, 2, 3});
  expect_alive();
  EXPECT_TRUE(test::eventually([this] { return received().size() == 2; }));
}

TEST_F(FinderTPMgrTest, AsksForTheCurrentDraw) {
  EXPECT_EQ(client->get_total_currentdraw(), -2) << "before init";
  ASSERT_EQ(start(), 0);
#ifdef __SANITIZE_THREAD__
  // The sanitizer takes about a second, once, to find that it suppresses this race.
  client->get_total_currentdraw();
  ASSERT_TRUE(log.wait_for("Total Current draw reported : 0\n"));
#endif
  const std::size_t before = manager.received().size();
  manager.answer_current_draw(500);
  EXPECT_EQ(client->get_total_currentdraw(), 500);
  EXPECT_TRUE(
      log.wait_for("[UDF] KLAV_usb_tpm: Current draw ACK received\n"
                   "[UDF] KLAV_usb_tpm: Total Current draw reported : 500\n"));
  manager.answer_current_draw(0x01020304, milliseconds(400));
  EXPECT_EQ(client->get_total_currentdraw(), 0x01020304);
  manager.answer_current_draw(-7);
  EXPECT_EQ(client->get_total_currentdraw(), -7);
  manager.fail_current_draw();
  EXPECT_EQ(client->get_total_currentdraw(), -1);
  manager.ignore_current_draw();
  const auto start_time = std::chrono::steady_clock::now();
  EXPECT_EQ(client->get_total_currentdraw(), -2);
  const auto took = std::chrono::steady_clock::now() - start_time;
  EXPECT_GE(took, milliseconds(850)) << "three waits of 300 ms";
  const auto sent = manager.received();
  ASSERT_EQ(sent.size(), before + 5);
  EXPECT_EQ(sent[before].payload, (Bytes{2, 7, 0, 0}));
}

// Not always, for the answer is stored without the lock that the caller waits
// with, but as a rule it wakes the caller.
TEST_F(FinderTPMgrTest, IsWokenByTheAnswer) {
  ASSERT_EQ(start(), 0);
  manager.answer_current_draw(0, milliseconds(100));  // when the caller waits already
  EXPECT_TRUE(test::eventually([this] {
    const auto asked = std::chrono::steady_clock::now();
    const bool answered = client->get_total_currentdraw() == 0;
    return answered && std::chrono::steady_clock::now() - asked < milliseconds(250);
  }));
}

// The thread that listens since the first init is still woken at the end.
TEST_F(FinderTPMgrTest, EndsPromptlyAfterASecondInitThatFailed) {
  ASSERT_EQ(start(), 0);
  unsetenv(sim::kManagerVariable);
  EXPECT_LT(client->init(publisher), 0);
  expect_alive();
  EXPECT_LT(client->init(publisher), 0);
  stop();
}

TEST_F(FinderTPMgrTest, ReportsSendsThatFail) {
  ASSERT_EQ(start(), 0);
  test::faults::always_failing = "sendmsg";
  EXPECT_EQ(client->get_total_currentdraw(), -2);
  EXPECT_EQ(log.count(kNlFailed), 1u);
  manager.device_attached("1-1");
  ASSERT_TRUE(log.wait_for(kNlFailed, 2));
  EXPECT_TRUE(log.contains("[UDF] libnl's message: "));
  EXPECT_TRUE(test::eventually([this] { return received().size() == 1; }))
      << "the event does not depend on its acknowledgement";
  test::faults::always_failing = nullptr;
  expect_alive();
}

TEST_F(FinderTPMgrTest, FailsWithoutATopologyManager) {
  unsetenv(sim::kManagerVariable);
  EXPECT_EQ(client->wait_for_status_change(), -1);
  EXPECT_LT(client->init(publisher), 0);
  EXPECT_TRUE(log.contains("[UDF] FinderTPMgr::connect Error: libnl's message: "));
  EXPECT_TRUE(log.contains("[UDF] FinderTPMgr::init connect failed!\n"));
  manager.publish_address();
  EXPECT_EQ(client->wait_for_status_change(), -1);
  EXPECT_EQ(start(), 0) << "and a good one works";
  expect_alive();
}

// The states of the netlink socket are compared as a whole: 9 and 17 are polled
// again without reading, 8 and an error end the pass. Any sign from the terminator
// goes first.
TEST_F(FinderTPMgrTest, ReadsOnlyWhenThereIsNothingButInput) {
  ASSERT_EQ(client->init(publisher), 0);
  const std::string end = "[UDF] TPM WAIT EXIT\n";
  const std::string failed = "Going to block on POLL\n[UDF] POLL failed\n" + end;
  const auto outcome = [&](int netlink, int terminator) -> std::string {
    if (terminator != 0) return "Terminator fired!! check out!!\n";
    if (netlink == POLLIN) return "Waiting for topology manager request...\n";
    return netlink == POLLERR ? "POLLERR\n" + end : failed;  // the next wait, which fails
  };
  constexpr int kStates = POLLIN | POLLERR | POLLHUP | POLLNVAL;
  for (int bits = 0; bits < 64 * 64; ++bits) {
    const auto netlink = static_cast<short>(bits % 64);
    const auto terminator = static_cast<short>(bits / 64);
    if (((netlink | terminator) & ~kStates) != 0) continue;
    test::faults::script_poll({{1, netlink, terminator}, {-1}});
    log.clear();
    EXPECT_EQ(client->wait_for_status_change(), 0);
    EXPECT_TRUE(log.contains("termi_revents - " + std::to_string(terminator) + "\n[UDF] " +
                             outcome(netlink, terminator)))
        << log.text();
  }
  manager.device_attached("1-1");
  test::faults::script_poll({{0}, {-1}});
  log.clear();
  EXPECT_EQ(client->wait_for_status_change(), 0);
  EXPECT_EQ(
      log.text(),
      "[UDF] TPM WAIT ENTER\n[UDF] Going to block on POLL\n[UDF] POLL timeout\n[UDF] " + failed);
  EXPECT_TRUE(received().empty());
  EXPECT_EQ(client->wait_for_status_change(), 0);
  EXPECT_TRUE(manager.wait_for_ack(0x82));
}

TEST_F(FinderTPMgrTest, NeverWaitsAgainAfterDisconnect) {
  ASSERT_EQ(start(), 0);
  ASSERT_TRUE(log.wait_for("[UDF] TPM WAIT ENTER\n"));
  EXPECT_EQ(client->disconnect(), 0);
  EXPECT_TRUE(manager.wait_for_connections(0)) << "the socket is closed";
  EXPECT_EQ(client->wait_for_status_change(), 0);
  EXPECT_EQ(client->get_total_currentdraw(), -2) << "no socket to ask through";
}

}  // namespace
}  // namespace tarni
