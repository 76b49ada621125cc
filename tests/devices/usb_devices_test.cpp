// SPDX-License-Identifier: MIT
#include "devices/usb_devices.h"

#include <gtest/gtest.h>

#include "devices/usb_device_info.h"
#include "support/machine.h"

namespace tarni {
namespace {

class UsbDevicesTest : public test::MachineTest {};

TEST_F(UsbDevicesTest, FindsByExactPath) {
  tree.attach(sim::Keyboard("1-1.4").ids(1, 2));
  const UsbDevices snapshot;
  EXPECT_EQ(snapshot.all().size(), 3u) << "root hub, hub, keyboard";
  EXPECT_TRUE(snapshot.find_device("/sys/bus/usb/devices/1-1.4"));
  EXPECT_FALSE(snapshot.find_device("/sys/bus/usb/devices/1-1.4/"));
  EXPECT_FALSE(snapshot.find_device("/sys/bus/usb/devices/1-1.5"));
  EXPECT_TRUE(snapshot.find_device("")) << "the root hub";
}

// libusb keeps no track of a device that was unplugged and that somebody holds: it
// has to be given back before the context closes.
TEST_F(UsbDevicesTest, OutlivesTheUnpluggingOfADevice) {
  tree.attach(sim::Keyboard("1-1").ids(0x1234, 2));
  auto snapshot = std::make_unique<UsbDevices>();
  tree.remove("1-1");
  EXPECT_TRUE(test::eventually([&] {  // libusb has heard of it: the root hub is left
    const std::size_t before = snapshot->all().size();
    snapshot->refresh_devicelist();
    return snapshot->all().size() == before + 1;
  }));
  auto kept = snapshot->find_device("/sys/bus/usb/devices/1-1");
  const int closed = test::faults::contexts_closed;
  snapshot.reset();
  EXPECT_EQ(test::faults::contexts_closed, closed) << "although a device is held";
  usb_device record = {};
  EXPECT_EQ(kept->load_usb_device_struct(&record), 0);
  EXPECT_EQ(record.vid, 0x1234);
  kept.reset();
  EXPECT_EQ(test::faults::contexts_closed, closed + 1);
}

TEST_F(UsbDevicesTest, IsEmptyWithoutLibusb) {
  tree.attach(sim::Keyboard("1-1"));
  test::faults::always_failing = "libusb_init";
  const UsbDevices no_context;
  test::faults::always_failing = "libusb_get_device_list";
  const UsbDevices no_list;
  EXPECT_EQ(log.text(), "");
  for (const UsbDevices* snapshot : {&no_context, &no_list}) {
    EXPECT_FALSE(snapshot->find_device(""));
    snapshot->dump_info();
  }
  const std::string line = "[UDF] Total number of USB devices found : 0\n";
  EXPECT_EQ(log.text(), line + line);
}

TEST_F(UsbDevicesTest, DumpsEachDevice) {
  tree.attach(sim::Disk("1-1").ids(0x0abc, 0x12).named("M", "P", "S").drawing(200));
  const UsbDevices snapshot;
  log.clear();
  EXPECT_EQ(snapshot.dump_info(), 0);
  const std::string all = log.text();
  EXPECT_EQ(all.rfind("[UDF] Total number of USB devices found : 2\n[UDF] USB DEVICE 0\n", 0), 0u);
  for (const char* part : {"[UDF] USB DEVICE 1\n",
                           "[UDF] -- VID:               abc\n[UDF] -- PID:                12\n"
                           "[UDF] -- Bus Number:       1\n",
                           "[UDF] -- Active config:    1\n[UDF] -- Dev Class:        0\n"
                           "[UDF] -- Dev Speed:        3\n[UDF] -- Max power:        100\n"
                           "[UDF] -- Manufacturer:     M\n[UDF] -- Product:          P\n"
                           "[UDF] -- Serial Num:       S\n[UDF] -- INTERFACES --\n",
                           "[UDF] -- Sys fs path :     /sys/bus/usb/devices/1-1\n"
                           "[UDF] -- Raw Dev path :    /dev/sda\n[UDF] ------------------\n"}) {
    EXPECT_TRUE(log.contains(part)) << part;
  }
}

}  // namespace
}  // namespace tarni
