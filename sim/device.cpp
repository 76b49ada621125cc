// SPDX-License-Identifier: MIT
#include "sim/device.h"

#include <iterator>
#include <regex>
#include <utility>

namespace tarni::sim {
namespace {

enum ClassCode : std::uint8_t {
  kCommunications = 0x02,
  kHumanInterface = 0x03,
  kMassStorage = 0x08,
  kHubClass = 0x09,
  kCommunicationsData = 0x0a
};

constexpr std::uint8_t kBulk = 2;
constexpr std::uint8_t kInterrupt = 3;

// The descriptor that every HID interface carries, for a report descriptor of 63 bytes.
constexpr std::uint8_t kHidDescriptor[] = {9, 0x21, 0x11, 0x01, 0, 1, 0x22, 63, 0};

Interface interface_of(std::uint8_t code, std::uint8_t subclass, std::uint8_t protocol) {
  Interface interface;
  interface.interface_class = code;
  interface.subclass = subclass;
  interface.protocol = protocol;
  return interface;
}

Interface hid_interface_of(std::uint8_t subclass, std::uint8_t protocol) {
  Interface interface = interface_of(kHumanInterface, subclass, protocol);
  interface.extra.assign(std::begin(kHidDescriptor), std::end(kHidDescriptor));
  interface.endpoints = {{0x81, kInterrupt, 8, 10}};
  interface.nodes = Nodes::kHidraw;
  return interface;
}

// Longer ones make paths that are too long for the file system, and matching them
// takes more stack than there is.
constexpr std::size_t kLongestPort = 64;

}  // namespace

bool is_port(const std::string& name) {
  static const std::regex pattern("[1-9][0-9]{0,2}-[1-9][0-9]{0,2}(\\.[1-9][0-9]{0,2})*");
  return name.size() <= kLongestPort && std::regex_match(name, pattern);
}

Interface storage_interface(int disks) {
  Interface interface = interface_of(kMassStorage, 0x06, 0x50);
  interface.endpoints = {{0x81, kBulk, 512}, {0x02, kBulk, 512}};
  interface.nodes = Nodes::kDisks;
  interface.disks = disks;
  return interface;
}

Interface keyboard_interface() {
  return hid_interface_of(1, 1);
}

Interface hid_interface() {
  return hid_interface_of(0, 0);
}

Interface acm_control_interface() {
  Interface interface = interface_of(kCommunications, 0x02, 0x01);
  interface.extra = {5, 0x24, 0x00, 0x10, 0x01, 4, 0x24, 0x02, 0x02, 5, 0x24, 0x06, 0, 1};
  interface.endpoints = {{0x83, kInterrupt, 16, 9}};
  interface.nodes = Nodes::kTty;
  return interface;
}

Interface acm_data_interface() {
  Interface interface = interface_of(kCommunicationsData, 0, 0);
  interface.endpoints = {{0x81, kBulk, 512}, {0x02, kBulk, 512}};
  return interface;
}

Device& Device::ids(std::uint16_t vendor, std::uint16_t product_code) {
  vendor_id = vendor;
  product_id = product_code;
  return *this;
}

Device& Device::named(std::string manufacturer_text, std::string product_text,
                      std::string serial_text) {
  manufacturer = std::move(manufacturer_text);
  product = std::move(product_text);
  serial = std::move(serial_text);
  return *this;
}

Device& Device::at_speed(std::string mbits) {
  speed = std::move(mbits);
  return *this;
}

Device& Device::drawing(int milliamperes) {
  max_power_ma = milliamperes;
  return *this;
}

Device& Device::of_class(std::uint8_t code, std::uint8_t subclass, std::uint8_t protocol) {
  device_class = code;
  device_subclass = subclass;
  device_protocol = protocol;
  return *this;
}

Device& Device::with(Interface interface) {
  interfaces.push_back(std::move(interface));
  return *this;
}

Device& Device::unconfigured() {
  configured = false;
  return *this;
}

Device& Device::attribute(const std::string& name, std::string bytes) {
  attributes[name] = std::move(bytes);
  return *this;
}

Device& Device::without_attribute(const std::string& name) {
  missing_attributes.insert(name);
  return *this;
}

Device& Device::raw_descriptors(const std::vector<std::uint8_t>& bytes) {
  return attribute("descriptors", std::string(bytes.begin(), bytes.end()));
}

Disk::Disk(std::string port_name, int disks) : Device(std::move(port_name)) {
  with(storage_interface(disks));
}

Keyboard::Keyboard(std::string port_name) : Device(std::move(port_name)) {
  at_speed("1.5").with(keyboard_interface());
}

Hid::Hid(std::string port_name) : Device(std::move(port_name)) {
  at_speed("12").with(hid_interface());
}

SerialAdapter::SerialAdapter(std::string port_name) : Device(std::move(port_name)) {
  of_class(kCommunications).with(acm_control_interface()).with(acm_data_interface());
}

Hub::Hub(std::string port_name) : Device(std::move(port_name)) {
  Interface interface = interface_of(kHubClass, 0, 0);
  interface.endpoints = {{0x81, kInterrupt, 1, 12}};
  of_class(kHubClass, 0, 1).with(interface);
}

DeviceOfClass::DeviceOfClass(std::string port_name, std::uint8_t code)
    : Device(std::move(port_name)) {
  of_class(code).with(interface_of(code, 0, 0));
}

InterfaceOfClass::InterfaceOfClass(std::string port_name, std::uint8_t code)
    : Device(std::move(port_name)) {
  with(interface_of(code, 0, 0));
}

}  // namespace tarni::sim
