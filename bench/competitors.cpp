// SPDX-License-Identifier: MIT
#include "competitors.h"

#include <fcntl.h>
#include <libudev.h>
#include <libusb.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "tarni.h"

namespace tarni::bench {
namespace {

constexpr std::array kStrings{"manufacturer", "product", "serial"};
constexpr std::array kClasses{"block", "hidraw", "tty"};

// ---- libusb ----

std::size_t read_string(const std::string& path) {
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return 0;
  char text[256];
  const ssize_t size = read(fd, text, sizeof(text));
  close(fd);
  return size > 0 ? static_cast<std::size_t>(size) - 1 : 0;  // without its line feed
}

void add_strings(libusb_device* device, Found& found) {
  std::array<std::uint8_t, 8> ports{};
  const int depth = libusb_get_port_numbers(device, ports.data(), static_cast<int>(ports.size()));
  if (depth < 1) return;  // a root hub
  std::string path = "/sys/bus/usb/devices/" + std::to_string(libusb_get_bus_number(device));
  for (int i = 0; i < depth; ++i) {
    path += (i == 0 ? "-" : ".") + std::to_string(ports[static_cast<std::size_t>(i)]);
  }
  for (const char* name : kStrings) found.characters += read_string(path + "/" + name);
}

void add_device(libusb_device* device, Found& found) {
  libusb_device_descriptor descriptor;
  libusb_config_descriptor* config = nullptr;
  if (libusb_get_device_descriptor(device, &descriptor) != 0) return;
  if (libusb_get_active_config_descriptor(device, &config) != 0) return;
  ++found.devices;
  found.identities += descriptor.idVendor + std::size_t{descriptor.idProduct};
  add_strings(device, found);
  libusb_free_config_descriptor(config);
}

// ---- libudev ----

struct Unref {
  void operator()(udev* context) const { udev_unref(context); }
  void operator()(udev_enumerate* enumeration) const { udev_enumerate_unref(enumeration); }
  void operator()(udev_device* device) const { udev_device_unref(device); }
};
template <typename T>
using Owned = std::unique_ptr<T, Unref>;

const char* attribute(udev_device* device, const char* name) {
  const char* text = udev_device_get_sysattr_value(device, name);
  return text ? text : "";
}

std::size_t number(udev_device* device, const char* name) {
  return std::strtoul(attribute(device, name), nullptr, 16);
}

template <typename Function>
void for_each(udev* context, udev_enumerate* enumeration, Function function) {
  udev_enumerate_scan_devices(enumeration);
  udev_list_entry* entry = udev_enumerate_get_list_entry(enumeration);
  for (; entry; entry = udev_list_entry_get_next(entry)) {
    const char* path = udev_list_entry_get_name(entry);
    const Owned<udev_device> device(udev_device_new_from_syspath(context, path));
    if (device) function(device.get());
  }
}

// Searches once below a device, for all classes.
void add_children(udev* context, udev_device* parent, Found& found) {
  const Owned<udev_enumerate> nodes(udev_enumerate_new(context));
  udev_enumerate_add_match_parent(nodes.get(), parent);
  for (const char* subsystem : kClasses) {
    udev_enumerate_add_match_subsystem(nodes.get(), subsystem);
  }
  for_each(context, nodes.get(),
           [&](udev_device* node) { found.nodes += udev_device_get_devnode(node) ? 1 : 0; });
}

bool hangs_on(udev_device* node, udev_device* device) {
  udev_device* parent = udev_device_get_parent_with_subsystem_devtype(node, "usb", "usb_device");
  return parent &&
         std::strcmp(udev_device_get_syspath(parent), udev_device_get_syspath(device)) == 0;
}

// Goes through the classes for each device, as the library does, and asks each
// entry for the USB device that it hangs on.
void add_class_entries(udev* context, udev_device* parent, Found& found) {
  for (const char* subsystem : kClasses) {
    const Owned<udev_enumerate> nodes(udev_enumerate_new(context));
    udev_enumerate_add_match_subsystem(nodes.get(), subsystem);
    for_each(context, nodes.get(), [&](udev_device* node) {
      if (hangs_on(node, parent)) found.nodes += udev_device_get_devnode(node) ? 1 : 0;
    });
  }
}

using AddNodes = void (*)(udev*, udev_device*, Found&);

void add_device(udev* context, udev_device* device, AddNodes add_nodes, Found& found) {
  ++found.devices;
  found.identities += number(device, "idVendor") + number(device, "idProduct");
  for (const char* name : {"busnum", "devnum", "devpath", "speed", "bMaxPower"}) {
    attribute(device, name);
  }
  if (number(device, "bConfigurationValue") == 0 || number(device, "devpath") == 0) return;
  const std::string name = udev_device_get_sysname(device);
  attribute(device, (name + ":1.0/bInterfaceClass").c_str());
  for (const char* string : kStrings) found.characters += std::strlen(attribute(device, string));
  if (number(device, "bDeviceClass") != LIBUSB_CLASS_HUB) add_nodes(context, device, found);
}

Found enumerate(AddNodes add_nodes) {
  Found found;
  const Owned<udev> context(udev_new());
  const Owned<udev_enumerate> devices(udev_enumerate_new(context.get()));
  udev_enumerate_add_match_subsystem(devices.get(), "usb");
  udev_enumerate_add_match_property(devices.get(), "DEVTYPE", "usb_device");
  for_each(context.get(), devices.get(),
           [&](udev_device* device) { add_device(context.get(), device, add_nodes, found); });
  return found;
}

}  // namespace

Found enumerate_by_libusb() {
  Found found;
  libusb_context* context = nullptr;
  libusb_device** list = nullptr;
  if (libusb_init(&context) != 0) return found;
  const ssize_t count = libusb_get_device_list(context, &list);
  for (ssize_t i = 0; i < count; ++i) add_device(list[i], found);
  if (list) libusb_free_device_list(list, 1);
  libusb_exit(context);
  return found;
}

Found enumerate_by_libudev() {
  return enumerate(add_children);
}

Found enumerate_by_libudev_classes() {
  return enumerate(add_class_entries);
}

Found enumerate_by_tarni(void* finder) {
  Found found;
  const int list = tarni_get_device_list(finder);
  while (tarni_get_next_device(finder, list) >= 0) {
    usb_device device = {};
    char node[256] = {};
    if (tarni_get_device_info(finder, list, &device) != 0) continue;
    ++found.devices;
    found.identities += device.vid + std::size_t{device.pid};
    for (const char* text : {device.manufacturer, device.product, device.serial}) {
      found.characters += std::strlen(text);
    }
    if (tarni_get_devfs_path(finder, list, node, sizeof(node)) == 0) ++found.nodes;
  }
  tarni_free_device_list(finder, list);
  return found;
}

}  // namespace tarni::bench
