// SPDX-License-Identifier: MIT
#include "devices/usb_device_interfaces.h"

#include <gtest/gtest.h>
#include <libusb.h>

#include "support/captured_stream.h"

namespace tarni {
namespace {

libusb_interface_descriptor setting(std::uint8_t number, std::uint8_t alternate,
                                    std::uint8_t usb_class) {
  libusb_interface_descriptor made = {};
  made.bInterfaceNumber = number;
  made.bAlternateSetting = alternate;
  made.bNumEndpoints = 2;
  made.bInterfaceClass = usb_class;
  made.bInterfaceSubClass = 6;
  made.bInterfaceProtocol = 80;
  return made;
}

TEST(UsbDeviceInterfacesTest, KeepsACopyOfEverySetting) {
  std::vector<libusb_interface_descriptor> first = {setting(0, 0, 8), setting(0, 1, 9)};
  std::vector<libusb_interface_descriptor> many(300, setting(2, 0, 3));
  std::vector<libusb_interface> list = {{first.data(), 2}, {nullptr, 0}, {many.data(), 300}};
  libusb_config_descriptor config = {};
  config.bNumInterfaces = 3;
  config.interface = list.data();
  const UsbDeviceInterfaces interfaces(&config);
  first.assign(2, {});
  list.clear();
  EXPECT_EQ(interfaces.get_intf0_devclass(), 8);
  EXPECT_EQ(interfaces.get_intf_devclass(0, 1), 9);
  EXPECT_EQ(interfaces.get_intf_devclass(0, 2), 0);
  EXPECT_EQ(interfaces.get_intf_devclass(1, 0), 0);
  EXPECT_EQ(interfaces.get_intf_devclass(3, 0), 0);
  EXPECT_EQ(interfaces.get_intf_devclass(2, 299), 3);
  EXPECT_EQ(interfaces.get_num_altsettings(0), 2u);
  EXPECT_EQ(interfaces.get_num_altsettings(2), 44u);
  EXPECT_EQ(interfaces.get_num_altsettings(3), 0u);
  const test::CapturedStream log;
  interfaces.dump_info();
  EXPECT_EQ(log.text().rfind("[UDF] -- INTERFACES --\n"
                             "[UDF] -- Num interfaces:  3\n"
                             "[UDF] --- INTERFACE INFO ---\n"
                             "[UDF] --- Num Alt settings:  2\n"
                             "[UDF] ----\n"
                             "[UDF] ---- Interface Number :    0\n"
                             "[UDF] ---- Alt setting :         0\n"
                             "[UDF] ---- Num Endpoints :       2\n"
                             "[UDF] ---- Interface Class :     8\n"
                             "[UDF] ---- Interface Subclass :  6\n"
                             "[UDF] ---- Interface Protocol :  80\n"
                             "[UDF] ----\n",
                             0),
            0u);
  EXPECT_EQ(log.count("[UDF] ----\n"), 302u);
}

}  // namespace
}  // namespace tarni
