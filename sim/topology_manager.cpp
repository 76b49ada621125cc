// SPDX-License-Identifier: MIT
#include "sim/topology_manager.h"

#include <cstdlib>
#include <utility>

#include "sim/manager_thread.h"

namespace tarni::sim {
namespace {

constexpr std::uint8_t kFirstByte = 2;

Mailbox::Predicate has_code(std::uint8_t code) {
  return [code](const ReceivedMessage& message) { return message.code() == code; };
}

bool is_overcurrent(Notification code) {
  return code == Notification::kOvercurrentDetected || code == Notification::kOvercurrentRemoved;
}

Bytes current_draw_payload(bool known, std::int32_t milliamperes) {
  const auto value = static_cast<std::uint32_t>(milliamperes);
  Bytes payload(3);
  payload[0] = kFirstByte;
  payload[1] = kCurrentDrawCode | kAnswerBit;
  payload[2] = known ? 0 : 1;
  for (int shift = 24; shift >= 0; shift -= 8) {
    payload.push_back(static_cast<std::uint8_t>(value >> shift));
  }
  return payload;
}

}  // namespace

Bytes notification_payload(Notification code, const std::string& name, std::uint8_t port) {
  Bytes payload;
  payload.reserve(name.size() + 4);
  payload.push_back(kFirstByte);
  payload.push_back(static_cast<std::uint8_t>(code));
  if (is_overcurrent(code)) payload.push_back(port);
  payload.insert(payload.end(), name.begin(), name.end());
  payload.push_back(0);
  return payload;
}

TopologyManager::TopologyManager() : thread_(std::make_unique<ManagerThread>()) {
  answer_register();
  answer_current_draw(0);
}

TopologyManager::~TopologyManager() = default;

const std::string& TopologyManager::address() const {
  return thread_->address();
}

void TopologyManager::publish_address() const {
  setenv(kManagerVariable, address().c_str(), 1);
}

// ---- How it answers ----

void TopologyManager::answer_register(Milliseconds delay) {
  thread_->set_answer(kRegisterCode, {{{kFirstByte, kRegisterCode | kAnswerBit}, delay}});
}

void TopologyManager::ignore_register() {
  thread_->set_answer(kRegisterCode, std::nullopt);
}

void TopologyManager::answer_current_draw(std::int32_t milliamperes, Milliseconds delay) {
  thread_->set_answer(kCurrentDrawCode, {{current_draw_payload(true, milliamperes), delay}});
}

void TopologyManager::fail_current_draw(Milliseconds delay) {
  thread_->set_answer(kCurrentDrawCode, {{current_draw_payload(false, 0), delay}});
}

void TopologyManager::ignore_current_draw() {
  thread_->set_answer(kCurrentDrawCode, std::nullopt);
}

// ---- What it says ----

int TopologyManager::device_attached(const std::string& name) {
  return notify(Notification::kDeviceAttached, name);
}

int TopologyManager::device_removed(const std::string& name) {
  return notify(Notification::kDeviceRemoved, name);
}

int TopologyManager::hub_attached(const std::string& name) {
  return notify(Notification::kHubAttached, name);
}

int TopologyManager::hub_removed(const std::string& name) {
  return notify(Notification::kHubRemoved, name);
}

int TopologyManager::occluded_hub_attached(const std::string& name) {
  return notify(Notification::kOccludedHubAttached, name);
}

int TopologyManager::occluded_hub_removed(const std::string& name) {
  return notify(Notification::kOccludedHubRemoved, name);
}

int TopologyManager::unsupported_device(const std::string& name) {
  return notify(Notification::kUnsupportedDevice, name);
}

int TopologyManager::overcurrent(const std::string& hub, std::uint8_t port) {
  return notify(Notification::kOvercurrentDetected, hub, port);
}

int TopologyManager::overcurrent_over(const std::string& hub, std::uint8_t port) {
  return notify(Notification::kOvercurrentRemoved, hub, port);
}

int TopologyManager::notify(Notification code, const std::string& name, std::uint8_t port) {
  return send_payload(notification_payload(code, name, port));
}

int TopologyManager::burst(std::size_t count, const Bytes& payload) {
  return thread_->send(done_message(payload), count, kAllRegistered);
}

int TopologyManager::send_payload(const Bytes& payload, int connection) {
  return send_datagram(done_message(payload), connection);
}

int TopologyManager::send_together(const std::vector<Bytes>& payloads, int connection) {
  Bytes datagram;
  for (const Bytes& payload : payloads) {
    const Bytes message = done_message(payload);
    datagram.insert(datagram.end(), message.begin(), message.end());
  }
  return send_datagram(datagram, connection);
}

int TopologyManager::send_datagram(const Bytes& datagram, int connection) {
  return thread_->send(datagram, 1, connection);
}

void TopologyManager::hang_up() {
  thread_->hang_up();
}

// ---- What it has heard ----

std::optional<ReceivedMessage> TopologyManager::wait_for(const Predicate& fits,
                                                         Milliseconds limit) {
  std::vector<ReceivedMessage> taken = thread_->mailbox().take(fits, 1, limit);
  if (taken.empty()) return std::nullopt;
  return std::move(taken.front());
}

bool TopologyManager::wait_for_registration(Milliseconds limit) {
  return wait_for_ack(kRegisterCode, limit);
}

bool TopologyManager::wait_for_query(Milliseconds limit) {
  return wait_for_ack(kCurrentDrawCode, limit);
}

bool TopologyManager::wait_for_ack(std::uint8_t code, Milliseconds limit) {
  return wait_for_acks(code, 1, limit);
}

bool TopologyManager::wait_for_acks(std::uint8_t code, std::size_t count, Milliseconds limit) {
  return thread_->mailbox().take(has_code(code), count, limit).size() == count;
}

bool TopologyManager::wait_for_connections(std::size_t count, Milliseconds limit) {
  return thread_->wait_for_connections(count, limit);
}

std::vector<ReceivedMessage> TopologyManager::received() const {
  return thread_->mailbox().all();
}

std::size_t TopologyManager::connections() const {
  return thread_->connections();
}

}  // namespace tarni::sim
