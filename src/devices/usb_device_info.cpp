// SPDX-License-Identifier: MIT
#include "devices/usb_device_info.h"

#include <utility>

#include <libusb.h>

#include "base/log.h"
#include "devices/class_entries.h"
#include "devices/device_class.h"

namespace tarni {
namespace {

struct ConfigFreer {
  void operator()(libusb_config_descriptor* config) const { libusb_free_config_descriptor(config); }
};
using ConfigDescriptor = std::unique_ptr<libusb_config_descriptor, ConfigFreer>;

}  // namespace

UsbDeviceInfo::UsbDeviceInfo(libusb_device* dev, Reference) : device(libusb_ref_device(dev)) {}

UsbDeviceInfo::UsbDeviceInfo(libusb_device* dev, ClassEntries& classes,
                             std::shared_ptr<libusb_context> libusb)
    : UsbDeviceInfo(dev, Reference()) {
  context = std::move(libusb);
  load_info(classes);
}

UsbDeviceInfo::UsbDeviceInfo(libusb_device* dev) : UsbDeviceInfo(dev, Reference()) {
  ClassEntries classes;
  load_info(classes);
}

UsbDeviceInfo::~UsbDeviceInfo() {
  libusb_unref_device(device);
  device = nullptr;
}

int UsbDeviceInfo::load_info(ClassEntries& classes) {
  bus_num = libusb_get_bus_number(device);
  dev_addr = libusb_get_device_address(device);
  num_ports = libusb_get_port_numbers(device, ports, kMaxPorts);
  speed = libusb_get_device_speed(device);
  if (load_info_from_desc() < 0) return -1;
  if (load_info_from_intf() < 0) return -1;
  map_dev_class();
  load_paths(classes);
  load_info_strings();
  return 0;
}

int UsbDeviceInfo::load_info_from_desc() {
  libusb_device_descriptor descriptor;
  if (libusb_get_device_descriptor(device, &descriptor) < 0) {
    log("[UDF] Error: failed to get device descriptor\n");
    return -1;
  }
  vid = descriptor.idVendor;
  pid = descriptor.idProduct;
  dev_class = descriptor.bDeviceClass;
  manufacturer_idx = descriptor.iManufacturer;
  product_idx = descriptor.iProduct;
  serial_idx = descriptor.iSerialNumber;
  return 0;
}

int UsbDeviceInfo::load_info_from_intf() {
  libusb_config_descriptor* read = nullptr;
  if (libusb_get_active_config_descriptor(device, &read) < 0) {
    log("[UDF] Error: failed to get active config descriptor\n");
    return -1;
  }
  const ConfigDescriptor config(read);
  max_power = config->MaxPower;
  active_config = config->bConfigurationValue;
  interfaces = std::make_unique<UsbDeviceInterfaces>(config.get());
  return 0;
}

// A device that names no class of its own has that of its first interface.
void UsbDeviceInfo::map_dev_class() {
  int usb_class = dev_class;
  if (usb_class == LIBUSB_CLASS_PER_INTERFACE && interfaces)
    usb_class = interfaces->get_intf0_devclass();
  dev_cls = to_device_class(usb_class);
}

int UsbDeviceInfo::load_usb_device_struct(usb_device* out) {
  if (active_config == 0) {
    log("[UDF] Error: load_usb_device_struct:return error because of this device is not active, "
        "disconnected or not ready.\n");
    return -1;
  }
  out->pid = pid;
  out->vid = vid;
  out->port_num = num_ports >= 1 ? ports[num_ports - 1] : std::uint8_t{0};
  out->num_ports = static_cast<std::uint16_t>(num_ports);
  out->reserved = reserved;
  out->dev_num = dev_addr;
  out->bus_num = bus_num;
  out->dev_cls = static_cast<std::uint16_t>(dev_cls);
  bounded_copy(out->manufacturer, sizeof(out->manufacturer), manufacturer);
  bounded_copy(out->product, sizeof(out->product), product);
  bounded_copy(out->serial, sizeof(out->serial), serial);
  bounded_copy(out->sysfs_path, sizeof(out->sysfs_path), sysfs_path.c_str());
  log("[UDF] load_usb_device_struct:VID[0x%04X] PID[0x%04X] bus_num[%d] dev_num[%3d] dev_cls:%d\n",
      vid, pid, bus_num, dev_addr, dev_cls);
  return 0;
}

int UsbDeviceInfo::parse_usb_device_struct(usb_device*) {
  return 0;
}

bool UsbDeviceInfo::is_sys_path_match(std::string path) const {
  return path == sysfs_path;
}

}  // namespace tarni
