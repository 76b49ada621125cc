// SPDX-License-Identifier: MIT
// A device with any descriptors that libusb's parser lets through.
#include <fuzzer/FuzzedDataProvider.h>
#include <libusb.h>

#include <cassert>

#include "devices/usb_device_info.h"
#include "sim/device_tree.h"

namespace {

// Numbers and classes, before the pointers.
constexpr std::size_t kDescriptorBytes = 9;

libusb_device_descriptor device_descriptor;
libusb_config_descriptor config;

libusb_device* find_device() {
  static tarni::sim::DeviceTree tree;
  tree.attach(tarni::sim::Device("1-1"));
  libusb_init(nullptr);
  static libusb_device** devices;
  assert(libusb_get_device_list(nullptr, &devices) == 2);
  return devices[0];
}

}  // namespace

int libusb_get_device_descriptor(libusb_device*, libusb_device_descriptor* out) {
  *out = device_descriptor;
  return 0;
}

int libusb_get_active_config_descriptor(libusb_device*, libusb_config_descriptor** out) {
  *out = &config;
  return 0;
}

void libusb_free_config_descriptor(libusb_config_descriptor*) {}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static libusb_device* const device = find_device();
  FuzzedDataProvider input(data, size);
  input.ConsumeData(&device_descriptor, sizeof(device_descriptor));
  input.ConsumeData(&config, kDescriptorBytes);
  config.bNumInterfaces %= 33;
  std::vector<std::vector<libusb_interface_descriptor>> settings(config.bNumInterfaces);
  std::vector<libusb_interface> interfaces;
  for (auto& each : settings) {
    each.resize(input.ConsumeIntegralInRange<std::size_t>(0, 128));
    for (auto& setting : each) input.ConsumeData(&setting, kDescriptorBytes);
    interfaces.push_back({each.data(), static_cast<int>(each.size())});
  }
  config.interface = interfaces.data();
  tarni::UsbDeviceInfo info(device);
  usb_device record{};
  info.load_usb_device_struct(&record);
  assert(record.dev_cls <= 8);
  info.dump_info();
  const tarni::UsbDeviceInterfaces copy(&config);
  for (unsigned int i = 0; i < settings.size(); ++i)
    assert(copy.get_num_altsettings(i) == settings[i].size());
  return 0;
}
