// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace tarni::sim {

// Whether it is the name of a port below a root hub, such as 1-1.4; 64 characters at most.
bool is_port(const std::string& name);

struct Endpoint {
  std::uint8_t address;     // bit 7: towards the host
  std::uint8_t attributes;  // 2: bulk, 3: interrupt
  std::uint16_t max_packet_size;
  std::uint8_t interval = 0;
};

// What the kernel makes of an interface once its driver has bound to it.
enum class Nodes {
  kNone,
  kDisks,   // host, target, one logical unit and /dev/sdX each
  kHidraw,  // /dev/hidrawN
  kTty      // /dev/ttyACMN
};

struct Interface {
  std::uint8_t interface_class = 0;
  std::uint8_t subclass = 0;
  std::uint8_t protocol = 0;
  std::vector<Endpoint> endpoints;
  std::vector<std::uint8_t> extra;  // class-specific descriptors, before the endpoints
  Nodes nodes = Nodes::kNone;
  int disks = 0;      // for Nodes::kDisks
  int number = -1;    // bInterfaceNumber; -1: its place in the list
  int alternate = 0;  // bAlternateSetting; only setting 0 has a directory and nodes
};

Interface storage_interface(int disks = 1);
Interface keyboard_interface();
Interface hid_interface();
Interface acm_control_interface();
Interface acm_data_interface();

/*
 * The description of one USB device: where it is plugged in and what it says of
 * itself. A plain value; DeviceTree::attach() makes the device from it. The
 * verbs change and return the object, so that a device reads as one line:
 *
 *   tree.attach(Disk("1-1.4").ids(0x0781, 0x5581).named("SanDisk", "Ultra", "4C53"));
 */
struct Device {
  // port: bus, "-" and port chain, as the kernel names devices: "1-1.4".
  explicit Device(std::string port_name) : port(std::move(port_name)) {}

  Device& ids(std::uint16_t vendor, std::uint16_t product);
  // An empty string is one that the device does not have.
  Device& named(std::string manufacturer_text, std::string product_text, std::string serial_text);
  // As sysfs has it, in Mbit/s: "1.5", "12", "480", "5000", ...
  Device& at_speed(std::string mbits);
  Device& drawing(int milliamperes);
  Device& of_class(std::uint8_t code, std::uint8_t subclass = 0, std::uint8_t protocol = 0);
  Device& with(Interface interface);
  // No active configuration: no interfaces, no nodes, an empty bConfigurationValue.
  Device& unconfigured();
  // A sysfs attribute written byte for byte, in place of the generated one. The
  // kernel ends its texts with a newline; here the caller does.
  Device& attribute(const std::string& name, std::string bytes);
  Device& without_attribute(const std::string& name);
  // The whole "descriptors" attribute. The other attributes stay as they are.
  Device& raw_descriptors(const std::vector<std::uint8_t>& bytes);

  std::string port;
  std::uint16_t vendor_id = 0x1209;
  std::uint16_t product_id = 0x0001;
  std::uint16_t release = 0x0100;
  std::string manufacturer;
  std::string product;
  std::string serial;
  std::string speed = "480";
  int max_power_ma = 100;
  std::uint8_t device_class = 0;
  std::uint8_t device_subclass = 0;
  std::uint8_t device_protocol = 0;
  std::vector<Interface> interfaces;
  bool configured = true;
  std::map<std::string, std::string> attributes;  // overrides
  std::set<std::string> missing_attributes;
};

// A stick or card reader. Disks can also come later: DeviceTree::add_disk().
struct Disk : Device {
  explicit Disk(std::string port_name, int disks = 1);
};

struct Keyboard : Device {
  explicit Keyboard(std::string port_name);
};

// A human interface device that is neither keyboard nor mouse.
struct Hid : Device {
  explicit Hid(std::string port_name);
};

struct SerialAdapter : Device {
  explicit SerialAdapter(std::string port_name);
};

struct Hub : Device {
  explicit Hub(std::string port_name);
};

// A device with one interface and no nodes, whose class is in the device descriptor.
struct DeviceOfClass : Device {
  DeviceOfClass(std::string port_name, std::uint8_t code);
};

// The same with the class in the interface descriptor.
struct InterfaceOfClass : Device {
  InterfaceOfClass(std::string port_name, std::uint8_t code);
};

}  // namespace tarni::sim
