// SPDX-License-Identifier: MIT
// Any configuration that libusb's parser lets through.
#include <fuzzer/FuzzedDataProvider.h>
#include <libusb.h>

#include <cassert>

#include "devices/usb_device_interfaces.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider input(data, size);
  std::vector<std::vector<libusb_interface_descriptor>> settings(input.ConsumeIntegral<char>() &
                                                                 31);
  std::vector<libusb_interface> interfaces;
  for (auto& each : settings) {
    each.resize(input.ConsumeIntegralInRange<std::size_t>(0, 128));
    // All but the pointers.
    for (auto& setting : each) input.ConsumeData(&setting, LIBUSB_DT_INTERFACE_SIZE);
    interfaces.push_back({each.data(), static_cast<int>(each.size())});
  }
  libusb_config_descriptor config{};
  config.bNumInterfaces = static_cast<std::uint8_t>(settings.size());
  config.interface = interfaces.data();
  const tarni::UsbDeviceInterfaces copy(&config);
  copy.dump_info();
  for (unsigned int i = 0; i < settings.size(); ++i) {
    const auto count = static_cast<unsigned int>(settings[i].size());
    assert(copy.get_num_altsettings(i) == count && copy.get_intf_devclass(i, count) == 0);
    for (unsigned int alt = 0; alt < count; ++alt)
      assert(copy.get_intf_devclass(i, alt) == settings[i][alt].bInterfaceClass);
  }
  return 0;
}
