// SPDX-License-Identifier: MIT
#include "sim/device_records.h"

#include <cstdio>
#include <map>

#include "sim/descriptors.h"

namespace tarni::sim {
namespace {

constexpr int kUsbMajor = 189;
constexpr int kDevicesPerBus = 128;
constexpr int kHidrawMajor = 240;
constexpr int kAcmMajor = 166;

template <typename... Args>
std::string format(const char* pattern, Args... args) {
  char buffer[128];
  static_cast<void>(std::snprintf(buffer, sizeof buffer, pattern, args...));
  return buffer;
}

std::string last_part(const std::string& path) {
  return path.substr(path.rfind('/') + 1);
}

// The port chain of "1-1.4" is "1.4"; that of "usb1" is "0".
std::string port_chain(const std::string& name) {
  const std::size_t dash = name.find('-');
  return dash == std::string::npos ? "0" : name.substr(dash + 1);
}

// Attribute texts as the kernel formats them, but for those that depend on an
// active configuration.
std::map<std::string, std::string> identity(const Device& device, const Place& place) {
  const std::vector<std::uint8_t> raw = descriptors(device);
  return {
      {"authorized", "1\n"},
      {"bDeviceClass", format("%02x\n", device.device_class)},
      {"bDeviceSubClass", format("%02x\n", device.device_subclass)},
      {"bDeviceProtocol", format("%02x\n", device.device_protocol)},
      {"bMaxPacketSize0", format("%d\n", control_packet_size(device))},
      {"bNumConfigurations", "1\n"},
      {"bcdDevice", format("%04x\n", device.release)},
      {"busnum", format("%d\n", place.bus)},
      {"descriptors", std::string(raw.begin(), raw.end())},
      {"devnum", format("%d\n", place.address)},
      {"devpath", port_chain(last_part(place.path)) + "\n"},
      {"idProduct", format("%04x\n", device.product_id)},
      {"idVendor", format("%04x\n", device.vendor_id)},
      {"maxchild", device.device_class == 0x09 ? "4\n" : "0\n"},
      {"removable", "unknown\n"},
      {"speed", device.speed + "\n"},
      {"version", format("%2x.%02x\n", usb_version(device) >> 8, usb_version(device) & 0xff)},
  };
}

// Empty files without an active configuration.
std::map<std::string, std::string> configuration(const Device& device) {
  std::map<std::string, std::string> out{
      {"bConfigurationValue", "1\n"},
      {"bMaxPower", format("%dmA\n", device.max_power_ma)},
      {"bNumInterfaces", format("%2d\n", static_cast<int>(device.interfaces.size()))},
      {"bmAttributes", "80\n"},
      {"configuration", ""}};
  if (!device.configured) {
    for (auto& [name, text] : out) text.clear();
  }
  return out;
}

std::map<std::string, std::string> strings(const Device& device) {
  std::map<std::string, std::string> out;
  if (!device.manufacturer.empty()) out["manufacturer"] = device.manufacturer + "\n";
  if (!device.product.empty()) out["product"] = device.product + "\n";
  if (!device.serial.empty()) out["serial"] = device.serial + "\n";
  return out;
}

std::map<std::string, std::string> all_attributes(const Device& device, const Place& place) {
  // The first to insert wins.
  std::map<std::string, std::string> all = device.attributes;
  all.merge(identity(device, place));
  all.merge(configuration(device));
  all.merge(strings(device));
  for (const std::string& name : device.missing_attributes) all.erase(name);
  return all;
}

std::string product_property(const Device& device) {
  return format("%x/%x/%x", device.vendor_id, device.product_id, device.release);
}

std::string type_property(const Device& device) {
  return format("%d/%d/%d", device.device_class, device.device_subclass, device.device_protocol);
}

Record usb_device_record(const Device& device, const Place& place) {
  Record record(place.path);
  record.property("SUBSYSTEM", "usb").property("DEVTYPE", "usb_device").property("DRIVER", "usb");
  record.property("PRODUCT", product_property(device)).property("TYPE", type_property(device));
  record.property("BUSNUM", format("%03d", place.bus));
  record.property("DEVNUM", format("%03d", place.address));
  record.node(format("bus/usb/%03d/%03d", place.bus, place.address), kUsbMajor,
              (place.bus - 1) * kDevicesPerBus + place.address - 1);
  for (const auto& [name, bytes] : all_attributes(device, place)) record.attribute(name, bytes);
  return record;
}

Record interface_record(const Device& device, const Interface& interface, const Place& place,
                        int number) {
  Record record(interface_path(device, place, number));
  record.property("SUBSYSTEM", "usb").property("DEVTYPE", "usb_interface");
  record.property("PRODUCT", product_property(device)).property("TYPE", type_property(device));
  record.property("INTERFACE", format("%d/%d/%d", interface.interface_class, interface.subclass,
                                      interface.protocol));
  record.attribute("bAlternateSetting", format("%2d\n", interface.alternate));
  record.attribute("bInterfaceClass", format("%02x\n", interface.interface_class));
  record.attribute("bInterfaceNumber", format("%02x\n", number));
  record.attribute("bInterfaceProtocol", format("%02x\n", interface.protocol));
  record.attribute("bInterfaceSubClass", format("%02x\n", interface.subclass));
  record.attribute("bNumEndpoints", format("%02x\n", static_cast<int>(interface.endpoints.size())));
  return record;
}

struct Number {
  int major;
  int minor;
};

// Sixteen minors per disk, sixteen disks per major, on the majors that the kernel
// gives to SCSI disks.
Number disk_number(int index) {
  const int block = (index & 0xf0) >> 4;
  const int minor = ((index & 0xf) << 4) | (index & 0xfff00);
  if (block == 0) return {8, minor};
  if (block < 8) return {65 + block - 1, minor};
  return {128 + block - 8, minor};
}

}  // namespace

std::vector<Record> device_records(const Device& device, const Place& place) {
  std::vector<Record> records{usb_device_record(device, place)};
  if (!device.configured) return records;
  const std::vector<int> numbers = interface_numbers(device);
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    const Interface& interface = device.interfaces[i];
    if (interface.alternate != 0) continue;
    records.push_back(interface_record(device, interface, place, numbers[i]));
  }
  return records;
}

std::vector<Record> root_hub_records(const Place& place) {
  Hub hub(format("%d-0", place.bus));
  hub.ids(0x1d6b, 0x0002).drawing(0).of_class(0x09, 0, 1);
  hub.named("Linux 6.1.0 xhci-hcd", "xHCI Host Controller", "0000:00:14.0");
  return device_records(hub, place);
}

std::string interface_path(const Device& device, const Place& place, int number) {
  return place.path + "/" + device.port + format(":1.%d", number);
}

std::string disk_name(int index) {
  std::string letters;
  for (; index >= 0; index = index / 26 - 1) {
    letters.insert(letters.begin(), static_cast<char>('a' + index % 26));
  }
  return "sd" + letters;
}

Record disk_record(const std::string& interface_path, int host, int unit, int index) {
  const std::string name = disk_name(index);
  const Number number = disk_number(index);
  Record record(interface_path +
                format("/host%d/target%d:0:0/%d:0:0:%d/block/", host, host, host, unit) + name);
  record.property("SUBSYSTEM", "block").property("DEVTYPE", "disk");
  record.node(name, number.major, number.minor);
  return record.attribute("removable", "1\n").attribute("size", "15728640\n");
}

std::vector<Record> hidraw_records(const std::string& interface_path, const Device& device,
                                   int instance, int index) {
  Record hid(interface_path +
             format("/0003:%04X:%04X.%04X", device.vendor_id, device.product_id, instance));
  hid.property("SUBSYSTEM", "hid").property("DRIVER", "hid-generic");
  hid.property("HID_ID", format("0003:%08X:%08X", device.vendor_id, device.product_id));
  const std::string name = format("hidraw%d", index);
  Record hidraw(hid.path() + "/hidraw/" + name);
  hidraw.property("SUBSYSTEM", "hidraw").node(name, kHidrawMajor, index);
  return {hid, hidraw};
}

Record tty_record(const std::string& interface_path, int index) {
  const std::string name = format("ttyACM%d", index);
  Record record(interface_path + "/tty/" + name);
  record.property("SUBSYSTEM", "tty").node(name, kAcmMajor, index);
  return record;
}

}  // namespace tarni::sim
