// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "sim/mailbox.h"
#include "sim/netlink_message.h"

namespace tarni::sim {

class ManagerThread;

// Environment variable in which the netlink stand-in finds the manager.
constexpr const char* kManagerVariable = "TARNI_SIM_MANAGER";

// Second byte of a message.
enum class Notification : std::uint8_t {
  kDeviceAttached = 2,
  kDeviceRemoved = 3,
  kOvercurrentDetected = 4,
  kOvercurrentRemoved = 5,
  kHubAttached = 6,
  kUnsupportedDevice = 8,
  kHubRemoved = 10,
  kOccludedHubAttached = 11,
  kOccludedHubRemoved = 12
};

// Second bytes of the requests; the answers have 0x80 added.
constexpr std::uint8_t kRegisterCode = 0x01;
constexpr std::uint8_t kCurrentDrawCode = 0x07;
constexpr std::uint8_t kAnswerBit = 0x80;

// The payload of a notification: 2, code, port (overcurrent only), name, NUL.
Bytes notification_payload(Notification code, const std::string& name, std::uint8_t port = 0);

/*
 * The kernel's USB topology manager, played by a thread of this process: the
 * netlink stand-in connects to it, from this process or from any that inherits
 * the environment variable TARNI_SIM_MANAGER. Each object has an address of its
 * own, so several can live side by side.
 *
 * It registers every connection that asks for it, answers the current-draw query
 * and records whatever it receives. What the test wants it to say it says at
 * once, from the calling thread, to all registered connections. Reading goes on
 * meanwhile: a sender that waits for a slow reader never holds up the
 * acknowledgements. A host that has its answer finds its request recorded, and
 * what is said after wait_for_registration() comes after the answer, unless that
 * is told to come late.
 *
 * The notifying verbs return the number of connections reached. A connection
 * that takes nothing for 10 seconds makes them throw std::runtime_error.
 *
 * Thread-safe. Destruction closes the connections and joins the thread; no other
 * call may be running then.
 */
class TopologyManager {
 public:
  using Milliseconds = std::chrono::milliseconds;
  using Predicate = Mailbox::Predicate;

  static constexpr Milliseconds kDefaultLimit{5000};
  static constexpr int kAllRegistered = 0;

  TopologyManager();
  ~TopologyManager();
  TopologyManager(const TopologyManager&) = delete;
  TopologyManager& operator=(const TopologyManager&) = delete;

  // The value for TARNI_SIM_MANAGER.
  const std::string& address() const;
  // Puts it into this process's environment (and its children's). Not while other
  // threads read the environment.
  void publish_address() const;

  // ---- How it answers; holds for what arrives from then on ----
  void answer_register(Milliseconds delay = Milliseconds{0});  // default: at once
  void ignore_register();
  void answer_current_draw(std::int32_t milliamperes,
                           Milliseconds delay = Milliseconds{0});  // default: 0 mA at once
  void fail_current_draw(Milliseconds delay = Milliseconds{0});
  void ignore_current_draw();

  // ---- What it says ----
  int device_attached(const std::string& name);
  int device_removed(const std::string& name);
  int hub_attached(const std::string& name);
  int hub_removed(const std::string& name);
  int occluded_hub_attached(const std::string& name);
  int occluded_hub_removed(const std::string& name);
  int unsupported_device(const std::string& name);
  int overcurrent(const std::string& hub, std::uint8_t port);
  int overcurrent_over(const std::string& hub, std::uint8_t port);
  int notify(Notification code, const std::string& name, std::uint8_t port = 0);

  // The same message count times, as fast as the connections take it.
  int burst(std::size_t count, const Bytes& payload);
  // One NLMSG_DONE message with this payload, whatever it is.
  int send_payload(const Bytes& payload, int connection = kAllRegistered);
  // Several messages in one datagram, which the other side gets in one read.
  int send_together(const std::vector<Bytes>& payloads, int connection = kAllRegistered);
  // Raw bytes in place of a netlink message.
  int send_datagram(const Bytes& datagram, int connection = kAllRegistered);

  // Closes all connections, registered or not; new ones are still taken.
  void hang_up();

  // ---- What it has heard ----
  // Each message can be waited for once: waiting takes the oldest that fits and
  // was not taken before. Nothing, or false, when the limit passes first.
  std::optional<ReceivedMessage> wait_for(const Predicate& fits,
                                          Milliseconds limit = kDefaultLimit);
  bool wait_for_registration(Milliseconds limit = kDefaultLimit);
  bool wait_for_query(Milliseconds limit = kDefaultLimit);
  // code: with the acknowledge bit, 0x82 for a device attached.
  bool wait_for_ack(std::uint8_t code, Milliseconds limit = kDefaultLimit);
  // Takes count of them; when they do not all come, takes those that did.
  bool wait_for_acks(std::uint8_t code, std::size_t count, Milliseconds limit = kDefaultLimit);
  // Waits until this many connections are open (0 after the other side closed).
  bool wait_for_connections(std::size_t count, Milliseconds limit = kDefaultLimit);

  // All messages so far, taken or not, in the order of their arrival.
  std::vector<ReceivedMessage> received() const;
  std::size_t connections() const;

 private:
  std::unique_ptr<ManagerThread> thread_;
};

}  // namespace tarni::sim
