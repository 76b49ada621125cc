// SPDX-License-Identifier: MIT
#include "sim/descriptors.h"

#include <algorithm>
#include <string>

namespace tarni::sim {
namespace {

enum DescriptorType : std::uint8_t {
  kDevice = 1,
  kConfiguration = 2,
  kInterface = 4,
  kEndpoint = 5
};

constexpr std::size_t kConfigurationBytes = 9;
constexpr std::uint8_t kBusPowered = 0x80;

class ByteWriter {
 public:
  void byte(int value) { bytes_.push_back(static_cast<std::uint8_t>(value)); }
  void word(int value) {
    byte(value & 0xff);
    byte(value >> 8);
  }
  void append(const std::vector<std::uint8_t>& more) {
    bytes_.insert(bytes_.end(), more.begin(), more.end());
  }
  std::vector<std::uint8_t> take() { return std::move(bytes_); }

 private:
  std::vector<std::uint8_t> bytes_;
};

std::vector<std::uint8_t> device_descriptor(const Device& device) {
  int next_index = 1;
  const auto text_index = [&](const std::string& text, const char* attribute) {
    const bool present = !text.empty() || device.attributes.count(attribute) != 0;
    return present ? next_index++ : 0;
  };
  ByteWriter out;
  out.byte(18);
  out.byte(kDevice);
  out.word(usb_version(device));
  out.byte(device.device_class);
  out.byte(device.device_subclass);
  out.byte(device.device_protocol);
  out.byte(control_packet_size(device));
  out.word(device.vendor_id);
  out.word(device.product_id);
  out.word(device.release);
  out.byte(text_index(device.manufacturer, "manufacturer"));
  out.byte(text_index(device.product, "product"));
  out.byte(text_index(device.serial, "serial"));
  out.byte(1);  // configurations
  return out.take();
}

void append_endpoint(ByteWriter& out, const Endpoint& endpoint) {
  out.byte(7);
  out.byte(kEndpoint);
  out.byte(endpoint.address);
  out.byte(endpoint.attributes);
  out.word(endpoint.max_packet_size);
  out.byte(endpoint.interval);
}

void append_interface(ByteWriter& out, const Interface& interface, int number) {
  out.byte(9);
  out.byte(kInterface);
  out.byte(number);
  out.byte(interface.alternate);
  out.byte(static_cast<int>(interface.endpoints.size()));
  out.byte(interface.interface_class);
  out.byte(interface.subclass);
  out.byte(interface.protocol);
  out.byte(0);  // no name
  out.append(interface.extra);
  for (const Endpoint& endpoint : interface.endpoints) append_endpoint(out, endpoint);
}

std::vector<std::uint8_t> all_interfaces(const Device& device, const std::vector<int>& numbers) {
  ByteWriter out;
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    append_interface(out, device.interfaces[i], numbers[i]);
  }
  return out.take();
}

std::size_t count_distinct(std::vector<int> numbers) {
  std::sort(numbers.begin(), numbers.end());
  return static_cast<std::size_t>(
      std::distance(numbers.begin(), std::unique(numbers.begin(), numbers.end())));
}

}  // namespace

std::vector<int> interface_numbers(const Device& device) {
  std::vector<int> numbers;
  int last = -1;
  for (const Interface& interface : device.interfaces) {
    if (interface.number >= 0) {
      last = interface.number;
    } else if (interface.alternate == 0 || last < 0) {
      ++last;
    }
    numbers.push_back(last);
  }
  return numbers;
}

std::vector<std::uint8_t> descriptors(const Device& device) {
  const std::vector<int> numbers = interface_numbers(device);
  const std::vector<std::uint8_t> interfaces = all_interfaces(device, numbers);
  ByteWriter out;
  out.append(device_descriptor(device));
  out.byte(static_cast<int>(kConfigurationBytes));
  out.byte(kConfiguration);
  out.word(static_cast<int>(kConfigurationBytes + interfaces.size()));
  out.byte(static_cast<int>(count_distinct(numbers)));
  out.byte(1);  // its value
  out.byte(0);  // no name
  out.byte(kBusPowered);
  out.byte(device.max_power_ma / (is_super_speed(device) ? 8 : 2));
  out.append(interfaces);
  return out.take();
}

bool is_super_speed(const Device& device) {
  return device.speed.size() >= 4;
}

std::uint16_t usb_version(const Device& device) {
  if (is_super_speed(device)) return 0x0300;
  return device.speed == "480" ? 0x0200 : 0x0110;
}

std::uint8_t control_packet_size(const Device& device) {
  if (is_super_speed(device)) return 9;
  return device.speed == "1.5" ? 8 : 64;
}

}  // namespace tarni::sim
