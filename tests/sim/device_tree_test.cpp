// SPDX-License-Identifier: MIT
#include "sim/device_tree.h"

#include <gtest/gtest.h>
#include <libusb.h>

#include <algorithm>
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

class DeviceTreeTest : public testing::Test {
 protected:
  DeviceTreeTest() { libusb_init(&usb_); }
  ~DeviceTreeTest() override { libusb_exit(usb_); }

  // "bus:address device-class/interface-class port" of each device; ee: unconfigured.
  Names listed() {
    libusb_device** list = nullptr;
    const ssize_t count = libusb_get_device_list(usb_, &list);
    Names out;
    for (ssize_t i = 0; i < count; ++i) {
      libusb_device_descriptor device{};
      libusb_get_device_descriptor(list[i], &device);
      libusb_config_descriptor* config = nullptr;
      const bool configured = libusb_get_active_config_descriptor(list[i], &config) == 0;
      char text[32];
      std::snprintf(text, sizeof text, "%d:%d %02x/%02x %d", libusb_get_bus_number(list[i]),
                    libusb_get_device_address(list[i]), device.bDeviceClass,
                    configured ? config->interface[0].altsetting[0].bInterfaceClass : 0xee,
                    libusb_get_port_number(list[i]));
      out.push_back(text);
      libusb_free_config_descriptor(config);
    }
    libusb_free_device_list(list, 1);
    std::sort(out.begin(), out.end());
    return out;
  }

  static int on_change(libusb_context*, libusb_device* device, libusb_hotplug_event event,
                       void* seen) {
    const char* sign = event == LIBUSB_HOTPLUG_EVENT_DEVICE_ARRIVED ? "+" : "-";
    static_cast<Names*>(seen)->push_back(sign + std::to_string(libusb_get_device_address(device)));
    return 0;
  }

  void expect_changes(const Names& expected) {
    timeval step{0, 100000};
    for (int tries = 0; seen_.size() < expected.size() && tries < 50; ++tries) {
      libusb_handle_events_timeout_completed(usb_, &step, nullptr);
    }
    EXPECT_EQ(seen_, expected);
    seen_.clear();
  }

  DeviceTree tree_;
  libusb_context* usb_ = nullptr;
  Names seen_;
};

TEST_F(DeviceTreeTest, ShowsDevicesToLibusb) {
  tree_.attach(Disk("1-1.4"));
  tree_.attach(Keyboard("1-2"));
  tree_.attach(SerialAdapter("3-2"));
  tree_.attach(DeviceOfClass("1-3", 0xe0));
  tree_.attach(InterfaceOfClass("1-4", 0x0b));
  tree_.attach(Disk("1-5").unconfigured());
  EXPECT_EQ(listed(),
            (Names{"1:1 09/09 0", "1:2 09/09 1", "1:3 00/08 4", "1:4 00/03 2", "1:5 e0/e0 3",
                   "1:6 00/0b 4", "1:7 00/ee 5", "3:1 09/09 0", "3:2 02/02 2"}));
}

TEST_F(DeviceTreeTest, LaysFilesOutAsTheKernelDoes) {
  const std::string real = tree_.attach(Disk("1-1.4", 2).named("", "Ultra", "").drawing(224));
  tree_.attach(Hid("1-2").ids(0x1050, 0x0120));
  tree_.attach(SerialAdapter("1-3"));
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
  EXPECT_EQ(tree_.nodes("usb1"), (Names{"/dev/hidraw0", "/dev/sda", "/dev/sdb", "/dev/ttyACM0"}));
  EXPECT_TRUE(fs::is_block_file("/dev/sdb") && fs::is_character_file("/dev/hidraw0") &&
              fs::is_character_file("/dev/ttyACM0") && fs::exists("/dev/bus/usb/001/003"));
}

TEST_F(DeviceTreeTest, ChangesWhileLibusbWatches) {
  libusb_hotplug_register_callback(
      usb_, LIBUSB_HOTPLUG_EVENT_DEVICE_ARRIVED | LIBUSB_HOTPLUG_EVENT_DEVICE_LEFT, 0,
      LIBUSB_HOTPLUG_MATCH_ANY, LIBUSB_HOTPLUG_MATCH_ANY, LIBUSB_HOTPLUG_MATCH_ANY, on_change,
      &seen_, nullptr);
  tree_.attach(Disk("1-1.4", 0));
  expect_changes({"+1", "+2", "+3"});
  EXPECT_EQ(tree_.add_disk("1-1.4"), "/dev/sda");
  EXPECT_EQ(tree_.add_disk("1-1.4"), "/dev/sdb");
  tree_.remove("1-1");
  expect_changes({"-3", "-2"});
  EXPECT_TRUE(fs::is_empty("/sys/block"));
  EXPECT_FALSE(fs::exists("/dev/sda") || fs::exists("/dev/bus/usb/001/003"));
  tree_.attach(Disk("1-1.4"));
  expect_changes({"+4", "+5"});
  EXPECT_EQ(tree_.nodes("1-1.4"), Names{"/dev/sda"});
}

TEST_F(DeviceTreeTest, WritesWhateverTheTestWants) {
  const std::string odd("\xff\0\\n\n", 5);
  tree_.attach(Hid("1-1").attribute("product", odd).attribute("serial", "\n").raw_descriptors({9}));
  const std::string link = "/sys/bus/usb/devices/1-1/";
  EXPECT_EQ(read(link + "product") + read(link + "serial") + read(link + "descriptors"),
            odd + "\n\t");
  tree_.set_attribute("1-1", "serial", odd);
  tree_.remove_attribute("1-1", "product");
  EXPECT_EQ(read(link + "serial"), odd);
  EXPECT_FALSE(fs::exists(link + "product"));
}

TEST_F(DeviceTreeTest, RefusesDevicesThatCannotBe) {
  tree_.attach(Hid("1-1"));
  for (const char* port : {"", "1", "usb1", "1-", "0-1", "1-0", "1-1.", "1-1/2", "1-1"}) {
    EXPECT_THROW(tree_.attach(Hid(port)), std::invalid_argument) << port;
  }
  EXPECT_THROW(tree_.attach(Hid("1-2").attribute("../x", "")), std::invalid_argument);
  EXPECT_THROW(tree_.add_disk("1-1"), std::invalid_argument);
  EXPECT_THROW(tree_.remove("1-2"), std::out_of_range);
  EXPECT_EQ(tree_.devices(), (Names{"1-1", "usb1"}));
}

// Two directories of a real machine, the child first.
std::string recording(const std::string& speed) {
  const std::string device =
      "P: /devices/pci0000:00/usb1/1-1\nN: bus/usb/001/009\nE: DEVNAME=/dev/bus/usb/001/009\n"
      "E: SUBSYSTEM=usb\nE: DEVTYPE=usb_device\nE: BUSNUM=001\nE: DEVNUM=009\nA: busnum=1\\n\n"
      "A: devnum=9\\n\nA: bConfigurationValue=1\nH: "
      "descriptors=120100020000004050102001120501020001"
      "09022900010100800F0904000002030000000921100100012222000705040340000207058403400002\n";
  const std::string root_hub =
      "P: /devices/pci0000:00/usb1\nE: SUBSYSTEM=usb\nE: DEVTYPE=usb_device\nE: BUSNUM=001\n"
      "E: DEVNUM=001\nA: busnum=1\nA: devnum=1\nA: speed=480\nA: bConfigurationValue=1\n"
      "H: descriptors=12010002090000406B1D020005030302010109021900010100E0000904000001090000000705"
      "810304000C\n";
  return device + "A: speed=" + speed + "\n\n" + root_hub;
}

TEST_F(DeviceTreeTest, LoadsRecordingsAndGoesOnFromThere) {
  tree_.load_text(recording("12"));
  tree_.attach(Hid("1-2"));
  EXPECT_EQ(listed(), (Names{"1:1 09/09 0", "1:10 00/03 2", "1:9 00/03 1"}));
  tree_.remove("1-1");
  tree_.load_text(recording("12"));
  EXPECT_THROW(tree_.load_text(recording("480")), std::runtime_error);
  EXPECT_EQ(tree_.devices(), (Names{"1-1", "1-2", "usb1"}));
}

TEST_F(DeviceTreeTest, SaysWhatIsWrongWithARecording) {
  const std::string good = "P: /devices/a\nE: SUBSYSTEM=usb\n";
  const std::pair<std::string, std::string> cases[] = {
      {"", "x: holds no device"},
      {"P: /sys/../a\n", "x:1: a device has to begin with \"P: /devices/...\""},
      {good + "E:\n", "x:3: neither a P, N, S, E, A, L nor H line"},
      {good + "A: ../a=1\n", "x:3: malformed attribute"},
      {good + "A: dev=1:/\n", "x:3: malformed attribute"},
      {good + "H: x=1\n", "x:3: malformed binary attribute"},
      {good + "A: x=\xff\n", "x:3: not UTF-8 text"},
      {good + "\n" + good, "x:4: the same device a second time"},
      {"P: /devices/a\n", "x: /devices/a has no SUBSYSTEM property"},
      {good + "N: a\n", "x: /devices/a has a device node but no DEVNAME property"}};
  for (const auto& [text, message] : cases) {
    try {
      tree_.load_text(text, "x");
      ADD_FAILURE() << "loaded: " << text;
    } catch (const std::runtime_error& error) {
      EXPECT_EQ(error.what(), message);
    }
  }
  EXPECT_THROW(tree_.load("/nowhere"), std::runtime_error);
  EXPECT_THROW(tree_.load("/"), std::runtime_error);
}

}  // namespace
}  // namespace tarni::sim
