// SPDX-License-Identifier: MIT
#include "devices/usb_device_info.h"

#include <gtest/gtest.h>
#include <libusb.h>

#include <cerrno>
#include <cstring>
#include <set>
#include <thread>

#include "devices/usb_devices.h"
#include "support/machine.h"

namespace tarni {
namespace {

using sim::Disk;
using sim::Keyboard;
using sim::SerialAdapter;
using test::MachineTest;

class UsbDeviceInfoTest : public MachineTest {
 protected:
  // The description of one device, from a snapshot that is gone by then.
  static std::shared_ptr<UsbDeviceInfo> describe(const std::string& name) {
    return UsbDevices().find_device("/sys/bus/usb/devices/" + name);
  }

  static usb_device record(const std::string& name) {
    usb_device filled = {};
    const auto device = describe(name);
    EXPECT_TRUE(device && device->load_usb_device_struct(&filled) == 0) << name;
    return filled;
  }

  static std::string first_node(const std::string& name) {
    char node[64] = {};
    return describe(name)->get_devfs_path(node, sizeof(node)) == 0 ? node : "none";
  }

  static std::string disk(UsbDeviceInfo& device, int index) {
    char node[64] = {};
    return device.get_partition_devpath(index, node, sizeof(node)) == 0 ? node : "none";
  }
};

TEST_F(UsbDeviceInfoTest, FillsTheRecord) {
  tree.attach(Disk("1-1.4").ids(0x0781, 0x5567).named("Maker", "Card Reader", "2004").drawing(200));
  usb_device filled;
  std::memset(&filled, 0xEE, sizeof(filled));
  const auto device = describe("1-1.4");
  ASSERT_TRUE(device);
  log.clear();
  ASSERT_EQ(device->load_usb_device_struct(&filled), 0);
  EXPECT_EQ(filled.vid, 0x0781);
  EXPECT_EQ(filled.pid, 0x5567);
  EXPECT_EQ(filled.port_num, 4);
  EXPECT_EQ(filled.num_ports, 2);
  EXPECT_EQ(filled.reserved, 0);
  EXPECT_EQ(filled.bus_num, 1);
  EXPECT_EQ(filled.dev_num, tree.address("1-1.4"));
  EXPECT_EQ(filled.dev_cls, 3);
  EXPECT_STREQ(filled.manufacturer, "Maker");
  EXPECT_STREQ(filled.product, "Card Reader");
  EXPECT_STREQ(filled.serial, "2004");
  EXPECT_STREQ(filled.sysfs_path, "/sys/bus/usb/devices/1-1.4");
  for (const char* field :
       {filled.manufacturer, filled.product, filled.serial, filled.sysfs_path}) {
    EXPECT_EQ(field[254], '\0');
    EXPECT_EQ(field[255], '\xEE') << "the last byte is the caller's";
  }
  char line[128];
  std::snprintf(line, sizeof(line),
                "[UDF] load_usb_device_struct:VID[0x0781] PID[0x5567] bus_num[1] dev_num[%3d] "
                "dev_cls:3\n",
                tree.address("1-1.4"));
  EXPECT_EQ(log.text(), line);
}

TEST_F(UsbDeviceInfoTest, ClassifiesByDeviceThenByFirstInterface) {
  const struct {
    std::uint8_t usb_class;
    int expected;
  } cases[] = {{0x01, 0}, {0x02, 1}, {0x03, 2}, {0x08, 3}, {0x09, 4}, {0x0A, 5},
               {0x0B, 6}, {0xE0, 7}, {0xEF, 8}, {0xFF, 8}, {0x06, 8}};
  int port = 0;
  for (const auto& c : cases) {
    const std::string name = std::to_string(++port);
    tree.attach(sim::DeviceOfClass("1-" + name, c.usb_class));
    tree.attach(sim::InterfaceOfClass("2-" + name, c.usb_class));
    EXPECT_EQ(record("1-" + name).dev_cls, c.expected) << int{c.usb_class};
    EXPECT_EQ(record("2-" + name).dev_cls, c.expected) << int{c.usb_class};
  }
  tree.attach(sim::Device("3-1"));
  EXPECT_EQ(record("3-1").dev_cls, 8) << "no interfaces";
}

TEST_F(UsbDeviceInfoTest, ReadsStringsFromSysfs) {
  const std::string longest(300, 'x');
  tree.attach(Keyboard("1-1").named("a", "b", ""));
  tree.attach(Keyboard("1-2").named("m", "p", "s").attribute("product", longest + "\n"));
  tree.attach(Keyboard("1-3").named("m", "p", "s").without_attribute("manufacturer"));
  tree.set_attribute("1-1", "serial", "not asked for\n");
  tree.set_attribute("1-1", "manufacturer", "a\n\n");
  tree.set_attribute("1-1", "product", "\n");
  EXPECT_STREQ(record("1-1").manufacturer, "a\n");
  EXPECT_STREQ(record("1-1").product, "\n");
  EXPECT_STREQ(record("1-1").serial, "");
  EXPECT_EQ(record("1-2").product, longest.substr(0, 255));
  EXPECT_STREQ(record("1-3").manufacturer, "");
  EXPECT_STREQ(record("1-3").product, "p");
  log.clear();
  describe("1-2")->dump_info();
  EXPECT_TRUE(log.contains("[UDF] -- Product:          " + longest.substr(0, 256) + "\n"));
}

TEST_F(UsbDeviceInfoTest, RefusesTheRecordOfWhatItCouldNotRead) {
  tree.attach(sim::DeviceOfClass("1-7", 8).ids(1, 2).named("m", "p", "s").unconfigured());
  const UsbDevices snapshot;
  EXPECT_EQ(log.count("[UDF] Error: failed to get active config descriptor\n"), 1u);
  // It has no sysfs path, like the root hub.
  int refused = 0;
  for (const auto& device : snapshot.all()) {
    usb_device untouched = {};
    untouched.reserved = 7;
    if (device->load_usb_device_struct(&untouched) == 0) continue;
    ++refused;
    EXPECT_EQ(untouched.reserved, 7);
    EXPECT_EQ(untouched.vid, 0);
    EXPECT_EQ(device->get_num_partitions(), 0);
    device->dump_info();
  }
  EXPECT_EQ(refused, 1);
  EXPECT_TRUE(
      log.contains("[UDF] Error: load_usb_device_struct:return error because of this device is "
                   "not active, disconnected or not ready.\n"));
  EXPECT_TRUE(
      log.contains("[UDF] -- Serial Num:       \n[UDF] -- Sys fs path :     \n"
                   "[UDF] ------------------\n"));
}

TEST_F(UsbDeviceInfoTest, KnowsRootHubsAndChainsThatAreTooDeep) {
  tree.attach(Keyboard("3-1.2.3.4.5.6.7.8"));
  tree.attach(Keyboard("3-1.2.3.4.5.6.7.8.9"));
  EXPECT_EQ(record("3-1.2.3.4.5.6.7.8").port_num, 8);
  EXPECT_EQ(record("3-1.2.3.4.5.6.7.8").num_ports, 8);
  EXPECT_EQ(describe("3-1.2.3.4.5.6.7.8.9"), nullptr);
  int roots = 0;
  int too_deep = 0;
  const UsbDevices snapshot;
  for (const auto& device : snapshot.all()) {
    usb_device filled = {};
    ASSERT_EQ(device->load_usb_device_struct(&filled), 0);
    if (filled.sysfs_path[0] != '\0') continue;
    EXPECT_EQ(filled.port_num, 0);
    filled.num_ports == 0 ? ++roots : ++too_deep;
    char node[16] = "old";
    EXPECT_EQ(device->get_devfs_path(node, sizeof(node)), -1);
    EXPECT_STREQ(node, "old");
  }
  EXPECT_EQ(roots, 1);
  EXPECT_EQ(too_deep, 1);
}

TEST_F(UsbDeviceInfoTest, FindsNodesByKind) {
  tree.attach(Disk("1-1.4", 2));
  tree.attach(Keyboard("1-2"));
  tree.attach(SerialAdapter("1-3"));
  tree.attach(sim::Hub("2-1"));
  EXPECT_EQ(first_node("1-2"), "/dev/hidraw0");
  EXPECT_EQ(first_node("1-3"), "/dev/ttyACM0");
  EXPECT_EQ(first_node("2-1"), "none");
  const auto disks = describe("1-1.4");
  EXPECT_EQ(disks->get_num_partitions(), 2);
  const std::set<std::string> both = {disk(*disks, 0), disk(*disks, 1)};
  EXPECT_EQ(both, (std::set<std::string>{"/dev/sda", "/dev/sdb"})) << "in any order";
  EXPECT_EQ(disk(*disks, 2) + disk(*disks, -1), "nonenone");
  EXPECT_EQ(describe("1-2")->get_num_partitions(), 0);
  EXPECT_EQ(log.count("[UDF] RawDevicePath: searching for mass storage paths - 1-1.4\n"), 5u);
}

// Names are looked for anywhere in a path: a device also has the nodes of what is
// behind it and of bus 11.
TEST_F(UsbDeviceInfoTest, FindsNodesWithoutComponentBoundary) {
  tree.attach(sim::DeviceOfClass("1-1", 3));
  tree.attach(Keyboard("1-1.4"));
  tree.attach(Keyboard("11-1"));
  tree.attach(Keyboard("1-2"));
  describe("1-1")->dump_info();
  EXPECT_EQ(log.count("[UDF] -- Raw Dev path :    /dev/hidraw"), 2u);
  EXPECT_EQ(log.count("[UDF] -- Raw Dev path :    /dev/hidraw2"), 0u);
}

TEST_F(UsbDeviceInfoTest, CutsNodePathsToTheBuffer) {
  tree.attach(Disk("1-1"));
  const auto device = describe("1-1");
  char node[16];
  std::memset(node, '#', sizeof(node));
  ASSERT_EQ(device->get_devfs_path(node, 12), 0);
  EXPECT_EQ(std::string(node, 16), std::string("/dev/sda\0\0\0#####", 16));
  ASSERT_EQ(device->get_partition_devpath(0, node, 6), 0);
  EXPECT_STREQ(node, "/dev/");
  EXPECT_TRUE(log.contains("[UDF] get_partition_devpath: index 0 returned path /dev/\n"));
  for (const int length : {0, -1}) {
    EXPECT_EQ(device->get_devfs_path(node, length), -1);
    EXPECT_EQ(device->get_partition_devpath(0, node, length), -1);
  }
  EXPECT_STREQ(node, "/dev/");
}

TEST_F(UsbDeviceInfoTest, WaitsFourSecondsOnceForADiskThatIsLate) {
  tree.attach(Disk("1-1", 0));
  const auto device = describe("1-1");
  std::vector<long> sleeps;
  test::faults::replace_nanosleep([&](const timespec* wanted, timespec* left) {
    sleeps.push_back(wanted->tv_sec);
    if (sleeps.size() == 1) {
      *left = {3, 0};
      errno = EINTR;
      return -1;
    }
    if (sleeps.size() == 4) tree.add_disk("1-1");
    return 0;
  });
  EXPECT_EQ(device->get_num_partitions(), 0);
  EXPECT_EQ(sleeps, (std::vector<long>{4, 3})) << "an interrupted wait goes on";
  EXPECT_EQ(disk(*device, -1), "none");
  EXPECT_EQ(sleeps.size(), 3u) << "waits whatever the index";
  EXPECT_EQ(device->get_num_partitions(), 1);
  EXPECT_EQ(disk(*device, 0), "/dev/sda");
  EXPECT_EQ(sleeps.size(), 4u) << "no wait once there is a disk";
  EXPECT_EQ(log.count("[UDF] get_num_partitions: return 1\n"), 2u);
}

TEST_F(UsbDeviceInfoTest, CountsALateDiskOnceForAllThreads) {
  tree.attach(Disk("1-1", 0));
  const auto device = describe("1-1");
  tree.add_disk("1-1");
  std::atomic<int> waiting{0};
  test::faults::replace_nanosleep([&](const timespec*, timespec*) {
    ++waiting;
    return test::eventually([&] { return waiting == 4; }) ? 0 : -1;
  });
  int counts[4] = {};
  std::vector<std::thread> callers;
  for (int& count : counts) {
    callers.emplace_back([&] { count = device->get_num_partitions(); });
  }
  for (std::thread& caller : callers) caller.join();
  for (const int count : counts) EXPECT_EQ(count, 1);
}

// Unlike loading, this opens the device. A simulated one opens and keeps silent.
TEST_F(UsbDeviceInfoTest, AsksTheDeviceItselfForItsStrings) {
  tree.attach(Disk("1-1").named("Maker", "", "2004"));
  UsbDevices snapshot;
  const auto device = snapshot.find_device("/sys/bus/usb/devices/1-1");
  ASSERT_TRUE(device);
  log.clear();
  EXPECT_EQ(device->load_info_from_strdesc(), 0);
  EXPECT_EQ(log.text(),
            "[UDF] retreive_string_desc: for index 1\n[UDF] retreive_string_desc: retVal : -1\n"
            "[UDF] retreive_string_desc: for index 0\n[UDF] retreive_string_desc: for index 2\n"
            "[UDF] retreive_string_desc: retVal : -1\n");
  tree.remove("1-1");
  log.clear();
  EXPECT_EQ(device->load_info_from_strdesc(), -4);
  EXPECT_EQ(log.text(),
            "[UDF] Error: load_info_from_strdesc : ERROR trying lib_usb_open : return value -4\n");
}

TEST_F(UsbDeviceInfoTest, DescribesADeviceWithoutASnapshot) {
  tree.attach(Disk("1-1"));
  tree.attach(Disk("1-2"));
  libusb_device** list = nullptr;
  ASSERT_EQ(libusb_init(nullptr), 0);
  ASSERT_EQ(libusb_get_device_list(nullptr, &list), 3);
  std::set<std::string> nodes;
  for (int i = 0; i < 3; ++i) nodes.insert(disk(*std::make_unique<UsbDeviceInfo>(list[i]), 0));
  EXPECT_EQ(nodes, (std::set<std::string>{"/dev/sda", "/dev/sdb", "none"}));
  libusb_free_device_list(list, 1);
  libusb_exit(nullptr);
}

}  // namespace
}  // namespace tarni
