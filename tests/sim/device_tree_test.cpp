// SPDX-License-Identifier: MIT
#include "sim/device_tree.h"

#include <gtest/gtest.h>
#include <libusb.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace tarni::sim {
namespace {

namespace fs = std::filesystem;
using Names = std::vector<std::string>;

std::string read(const std::string& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

// "+4 8": a device with address 4 has come, its first interface has class 8. "-4":
// it is gone, with its files.
int on_change(libusb_context*, libusb_device* device, libusb_hotplug_event event, void* seen) {
  std::string text = event == LIBUSB_HOTPLUG_EVENT_DEVICE_ARRIVED ? "+" : "-";
  text += std::to_string(libusb_get_device_address(device));
  libusb_config_descriptor* config = nullptr;
  if (libusb_get_active_config_descriptor(device, &config) == 0) {
    text += " " + std::to_string(config->interface[0].altsetting[0].bInterfaceClass);
    libusb_free_config_descriptor(config);
  }
  static_cast<Names*>(seen)->push_back(text);
  return 0;
}

TEST(DeviceTreeTest, ChangesWhileLibusbWatches) {
  DeviceTree tree;
  Names seen;
  libusb_context* usb = nullptr;
  libusb_init(&usb);
  libusb_hotplug_register_callback(usb, 3, 0, -1, -1, -1, on_change, &seen, nullptr);
  const auto expect = [&](const Names& expected) {
    timeval step{0, 100000};
    for (int tries = 0; seen.size() < expected.size() && tries < 50; ++tries) {
      libusb_handle_events_timeout_completed(usb, &step, nullptr);
    }
    EXPECT_EQ(seen, expected);
    seen.clear();
  };
  tree.attach(Disk("2-1.4", 0));
  tree.attach(Disk("2-2").unconfigured());
  tree.attach(Keyboard("2-1.1"));
  tree.attach(SerialAdapter("2-3"));
  tree.attach(DeviceOfClass("2-4", 0xe0));
  expect({"+1 9", "+2 9", "+3 8", "+4", "+5 3", "+6 2", "+7 224"});
  EXPECT_EQ(tree.add_disk("2-1.4"), "/dev/sda");
  EXPECT_EQ(tree.add_disk("2-1.4"), "/dev/sdb");
  tree.remove("2-1");
  expect({"-3", "-5", "-2"});
  EXPECT_TRUE(fs::is_empty("/sys/block"));
  EXPECT_FALSE(fs::exists("/dev/sda") || fs::exists("/dev/bus/usb/002/003"));
  tree.attach(Disk("2-1.4"));
  expect({"+8 9", "+9 8"});
  EXPECT_EQ(tree.nodes("2-1.4"), Names{"/dev/sda"});
  libusb_exit(usb);
}

TEST(DeviceTreeTest, LaysFilesOutAsTheKernelDoes) {
  DeviceTree tree;
  const std::string real = tree.attach(Disk("1-1.4", 2).named("", "Ultra", "").drawing(224));
  tree.attach(Hid("1-2").ids(0x1050, 0x0120));
  tree.attach(SerialAdapter("1-3"));
  const std::string link = "/sys/bus/usb/devices/1-1.4/";
  EXPECT_EQ(fs::canonical(link), "/sys/devices/pci0000:00/0000:00:14.0/usb1/1-1/1-1.4");
  EXPECT_EQ(read(link + "busnum") + read(link + "devnum") + read(link + "devpath"), "1\n3\n1.4\n");
  EXPECT_EQ(read(link + "product") + read(link + "bMaxPower"), "Ultra\n224mA\n");
  EXPECT_FALSE(fs::exists(link + "serial"));
  EXPECT_EQ(fs::canonical("/sys/block/sdb"),
            real + "/1-1.4:1.0/host0/target0:0:0/0:0:0:1/block/sdb");
  EXPECT_EQ(fs::canonical("/sys/class/hidraw/hidraw0").parent_path().parent_path().filename(),
            "0003:1050:0120.0001");
  EXPECT_TRUE(fs::exists("/sys/bus/usb/devices/1-3/1-3:1.0/tty/ttyACM0"));
  EXPECT_EQ(tree.nodes("usb1"), (Names{"/dev/hidraw0", "/dev/sda", "/dev/sdb", "/dev/ttyACM0"}));
  Device voices = DeviceOfClass("1-4", 1);
  voices.interfaces.push_back(voices.interfaces[0]);
  voices.interfaces[1].alternate = 1;
  tree.attach(voices);
  EXPECT_TRUE(fs::is_block_file("/dev/sdb") && fs::is_character_file("/dev/hidraw0"));
}

TEST(DeviceTreeTest, WritesOddContentsButRefusesOddNames) {
  DeviceTree tree;
  const std::string odd("\xff\0\\n\n", 5);
  tree.attach(Hid("1-1").attribute("product", odd).raw_descriptors({9}));
  EXPECT_EQ(read("/sys/bus/usb/devices/1-1/product"), odd);
  EXPECT_EQ(read("/sys/bus/usb/devices/1-1/descriptors"), "\t");
  tree.remove_attribute("1-1", "product");
  EXPECT_FALSE(fs::exists("/sys/bus/usb/devices/1-1/product"));
  std::string deep = "1-2";
  while (deep.size() < 100000) deep += ".1";
  for (const auto& port : Names{"", "1", "usb1", "1-", "0-1", "1-0", "1-1.", "1-1/2", "1-1", deep,
                                deep.substr(0, 65)}) {
    EXPECT_THROW(tree.attach(Hid(port)), std::invalid_argument) << port.substr(0, 65);
  }
  EXPECT_THROW(tree.attach(Hid("1-2").attribute("../x", "")), std::invalid_argument);
  tree.attach(Disk("1-2"));
  tree.remove("1-2");
  tree.attach(Hid("1-2"));
  for (const char* port : {"1-1", "1-2"}) EXPECT_THROW(tree.add_disk(port), std::invalid_argument);
  EXPECT_THROW(tree.remove("1-3"), std::out_of_range);
  EXPECT_EQ(tree.devices(), (Names{"1-1", "1-2", "usb1"}));
}

TEST(DeviceTreeTest, LoadsRecordingsAndGoesOnFromThere) {
  DeviceTree tree;
  const std::string recording =
      "P: /devices/x/usb1/1-1\nE: SUBSYSTEM=usb\nE: DEVTYPE=usb_device\nE: BUSNUM=001\n"
      "E: DEVNUM=009\nA: speed=12\\n\n\nP: /devices/x/usb1\nE: SUBSYSTEM=usb\nE: "
      "DEVTYPE=usb_device";
  tree.load_text(recording);
  EXPECT_EQ(tree.attach(Hid("1-2")), "/sys/devices/x/usb1/1-2");
  EXPECT_EQ(tree.address("1-2"), 10);
  tree.remove("1-1");
  tree.load_text(recording);
  EXPECT_EQ(read("/sys/bus/usb/devices/1-1/speed"), "12\n");
  EXPECT_THROW(tree.load_text("P: /devices/y/usb1\nE: SUBSYSTEM=usb\n"), std::runtime_error);
}

TEST(DeviceTreeTest, SaysWhatIsWrongWithARecording) {
  DeviceTree tree;
  const std::string good = "P: /devices/a\nE: SUBSYSTEM=usb\n";
  const std::pair<std::string, std::string> cases[] = {
      {"", "x: holds no device"},
      {"P: /sys/../a\n", "x:1: a device has to begin with \"P: /devices/...\""},
      {good + "E:\n", "x:3: neither a P, N, S, E, A, L nor H line"},
      {good + "A: dev=../a\n", "x:3: malformed attribute"},
      {good + "A: /a=b\n", "x:3: malformed attribute"},
      {good + "\n" + good, "x:4: the same device a second time"},
      {good + "N: a\n", "x: /devices/a has a device node but no DEVNAME property"},
      {good + "E: MINOR=/../b\n", "x: /devices/a has a malformed MAJOR or MINOR property"},
      {good + "A: " + std::string(201, 'b') + "=\n", "x:3: malformed attribute"},
      {good + "L: b=/tmp\nA: b/c=\n", "x:4: another file or device is in the way"},
      {good + "L: b=/tmp\n\nP: /devices/a/b/c\n", "x:5: a file of another device is in the way"},
      {good + "\nP: /devices/a/dev/b\n", "x:4: a file of another device is in the way"},
      {"P: /devices/a/dev/b\n\n" + good, "x:3: another device is in the way"},
      {good + "N: b/c\nS: b\n", "x:4: another device node or link is in the way"}};
  for (const auto& [text, message] : cases) {
    try {
      tree.load_text(text, "x");
      ADD_FAILURE() << "loaded: " << text;
    } catch (const std::runtime_error& error) {
      EXPECT_EQ(error.what(), message);
    }
  }
  EXPECT_THROW(tree.load("/nowhere"), std::runtime_error);
}

}  // namespace
}  // namespace tarni::sim
