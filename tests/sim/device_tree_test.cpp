// SPDX-License-Identifier: MIT
#include "sim/device_tree.h"

#include <gtest/gtest.h>
#include <libusb.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>

namespace tarni::sim {
namespace {

namespace fs = std::filesystem;
using Names = std::vector<std::string>;

std::string read(const std::string& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

int on_hotplug(libusb_context*, libusb_device* device, libusb_hotplug_event event, void* seen) {
  const char* sign = event == LIBUSB_HOTPLUG_EVENT_DEVICE_ARRIVED ? "+" : "-";
  static_cast<Names*>(seen)->push_back(sign + std::to_string(libusb_get_device_address(device)));
  return 0;
}

class DeviceTreeTest : public testing::Test {
 protected:
  DeviceTreeTest() { libusb_init(&usb_); }
  ~DeviceTreeTest() override { libusb_exit(usb_); }

  // "bus:address vendor:product class ports" of each device that libusb lists.
  Names listed() {
    libusb_device** list = nullptr;
    const ssize_t count = libusb_get_device_list(usb_, &list);
    Names out;
    for (ssize_t i = 0; i < count; ++i) out.push_back(describe(list[i]));
    libusb_free_device_list(list, 1);
    std::sort(out.begin(), out.end());
    return out;
  }

  // Lets libusb handle its events until this many hotplug callbacks have come.
  void expect_hotplug(const Names& events) {
    timeval step{0, 100000};
    for (int tries = 0; seen_.size() < events.size() && tries < 50; ++tries) {
      libusb_handle_events_timeout_completed(usb_, &step, nullptr);
    }
    EXPECT_EQ(seen_, events);
    seen_.clear();
  }

  static std::string describe(libusb_device* device) {
    libusb_device_descriptor d{};
    libusb_get_device_descriptor(device, &d);
    libusb_config_descriptor* config = nullptr;
    const int error = libusb_get_active_config_descriptor(device, &config);
    std::uint8_t ports[8];
    const int depth = libusb_get_port_numbers(device, ports, 8);
    char text[64];
    std::snprintf(text, sizeof text, "%d:%d %04x:%04x %02x/%02x", libusb_get_bus_number(device),
                  libusb_get_device_address(device), d.idVendor, d.idProduct, d.bDeviceClass,
                  error ? 0xee : config->interface[0].altsetting[0].bInterfaceClass);
    if (!error) libusb_free_config_descriptor(config);
    std::string out = text;
    for (int i = 0; i < depth; ++i) out += (i ? "." : " ") + std::to_string(ports[i]);
    return out;
  }

  DeviceTree tree_;
  libusb_context* usb_ = nullptr;
  Names seen_;
};

TEST_F(DeviceTreeTest, ShowsDevicesToLibusb) {
  tree_.attach(Disk("1-1.4").ids(0x0781, 0x5581).named("SanDisk", "Ultra", "4C53"));
  tree_.attach(Keyboard("1-2"));
  tree_.attach(SerialAdapter("3-2").at_speed("12"));
  tree_.attach(DeviceOfClass("1-3", 0xe0));
  tree_.attach(InterfaceOfClass("1-4", 0x0b));
  tree_.attach(Disk("1-5").unconfigured());
  EXPECT_EQ(listed(),
            (Names{"1:1 1d6b:0002 09/09", "1:2 1209:0001 09/09 1", "1:3 0781:5581 00/08 1.4",
                   "1:4 1209:0001 00/03 2", "1:5 1209:0001 e0/e0 3", "1:6 1209:0001 00/0b 4",
                   "1:7 1209:0001 00/ee 5", "3:1 1d6b:0002 09/09", "3:2 1209:0001 02/02 2"}));
  EXPECT_EQ(tree_.devices(),
            (Names{"1-1", "1-1.4", "1-2", "1-3", "1-4", "1-5", "3-2", "usb1", "usb3"}));
}

TEST_F(DeviceTreeTest, LaysSysfsOutAsTheKernelDoes) {
  const std::string real = tree_.attach(Disk("1-1.4", 2).named("", "Ultra", "").drawing(224));
  tree_.attach(Hid("1-2"));
  tree_.attach(SerialAdapter("1-3"));
  const std::string link = "/sys/bus/usb/devices/1-1.4";
  EXPECT_EQ(real, "/sys/devices/pci0000:00/0000:00:14.0/usb1/1-1/1-1.4");
  EXPECT_EQ(fs::canonical(link), real);
  EXPECT_EQ(read(link + "/busnum") + read(link + "/devnum") + read(link + "/devpath"),
            "1\n3\n1.4\n");
  EXPECT_EQ(read(link + "/idVendor") + read(link + "/speed"), "1209\n480\n");
  EXPECT_EQ(read(link + "/product"), "Ultra\n");
  EXPECT_EQ(read(link + "/bMaxPower"), "224mA\n");
  EXPECT_FALSE(fs::exists(link + "/serial"));
  EXPECT_EQ(fs::canonical("/sys/block/sdb"),
            real + "/1-1.4:1.0/host0/target0:0:0/0:0:0:1/block/sdb");
  EXPECT_NE(fs::canonical("/sys/class/hidraw/hidraw0").string().find("/1-2/1-2:1.0/0003:1209:0001"),
            std::string::npos);
  EXPECT_TRUE(fs::exists("/sys/bus/usb/devices/1-3/1-3:1.0/tty/ttyACM0"));
  EXPECT_TRUE(fs::is_block_file("/dev/sdb") && fs::is_character_file("/dev/hidraw0") &&
              fs::is_character_file("/dev/ttyACM0") && fs::exists("/dev/bus/usb/001/003"));
  EXPECT_EQ(tree_.nodes("usb1"), (Names{"/dev/hidraw0", "/dev/sda", "/dev/sdb", "/dev/ttyACM0"}));
}

TEST_F(DeviceTreeTest, ChangesWhileLibusbWatches) {
  libusb_hotplug_register_callback(
      usb_, LIBUSB_HOTPLUG_EVENT_DEVICE_ARRIVED | LIBUSB_HOTPLUG_EVENT_DEVICE_LEFT,
      LIBUSB_HOTPLUG_NO_FLAGS, LIBUSB_HOTPLUG_MATCH_ANY, LIBUSB_HOTPLUG_MATCH_ANY,
      LIBUSB_HOTPLUG_MATCH_ANY, on_hotplug, &seen_, nullptr);
  tree_.attach(Disk("1-1.4", 0));
  expect_hotplug({"+1", "+2", "+3"});
  EXPECT_EQ(tree_.add_disk("1-1.4"), "/dev/sda");
  EXPECT_EQ(tree_.add_disk("1-1.4"), "/dev/sdb");
  tree_.remove("1-1");
  expect_hotplug({"-3", "-2"});
  EXPECT_TRUE(fs::is_empty("/sys/block"));
  EXPECT_FALSE(fs::exists("/dev/sda") || fs::exists("/dev/bus/usb/001/003"));
  tree_.attach(Disk("1-1.4"));
  expect_hotplug({"+4", "+5"});
  EXPECT_EQ(tree_.nodes("1-1.4"), Names{"/dev/sda"});
}

TEST_F(DeviceTreeTest, WritesWhatTheTestWants) {
  const std::string longest(300, 'x');
  tree_.attach(
      Hid("1-1").attribute("product", longest).attribute("serial", "\n").raw_descriptors({18, 1}));
  const std::string link = "/sys/bus/usb/devices/1-1/";
  EXPECT_EQ(read(link + "product"), longest);
  EXPECT_EQ(read(link + "serial"), "\n");
  EXPECT_EQ(read(link + "descriptors"), "\x12\x01");
  tree_.set_attribute("1-1", "product", std::string("\xff\0\\n", 4));
  tree_.remove_attribute("1-1", "serial");
  EXPECT_EQ(read(link + "product"), std::string("\xff\0\\n", 4));
  EXPECT_FALSE(fs::exists(link + "serial"));
}

TEST_F(DeviceTreeTest, RefusesDevicesThatCannotBe) {
  tree_.attach(Hid("1-1"));
  for (const char* port : {"", "1", "usb1", "1-", "0-1", "1-0", "1-1.", "1-1/2", "1-1"}) {
    EXPECT_THROW(tree_.attach(Hid(port)), std::invalid_argument) << port;
  }
  EXPECT_THROW(tree_.attach(Hid("1-2").attribute("../x", "")), std::invalid_argument);
  EXPECT_THROW(tree_.remove("1-2"), std::out_of_range);
  EXPECT_THROW(tree_.add_disk("1-1"), std::invalid_argument);
  EXPECT_EQ(tree_.devices(), (Names{"1-1", "usb1"}));
}

const char* const kRecording =
    "P: /devices/pci0000:00/usb1/1-1\nN: bus/usb/001/009\nE: DEVNAME=/dev/bus/usb/001/009\n"
    "E: SUBSYSTEM=usb\nE: DEVTYPE=usb_device\nE: BUSNUM=001\nE: DEVNUM=009\nA: busnum=1\\n\n"
    "A: devnum=9\\n\nA: speed=12\nA: bConfigurationValue=1\nH: descriptors=12010002000000405010200"
    "1120501020001090229000101"
    "00800F0904000002030000000921100100012222000705040340000207058403400"
    "002\n\nP: /devices/pci0000:00/usb1\nE: SUBSYSTEM=usb\nE: DEVTYPE=usb_device\nE: BUSNUM=001\n"
    "E: DEVNUM=001\nA: busnum=1\nA: devnum=1\nA: speed=480\nA: bConfigurationValue=1\nH: "
    "descriptors="
    "12010002090000406B1D020005030302010109021900010100E0000904000001090000000705810304000C\n";

TEST_F(DeviceTreeTest, LoadsRecordingsAndGoesOnFromThere) {
  tree_.load_text(kRecording);
  tree_.attach(Hid("1-2"));
  EXPECT_EQ(listed(),
            (Names{"1:1 1d6b:0002 09/09", "1:10 1209:0001 00/03 2", "1:9 1050:0120 00/03 1"}));
  EXPECT_THROW(tree_.load_text(kRecording, "again"), std::runtime_error);
  tree_.remove("usb1");
  tree_.load_text(kRecording);
}

TEST_F(DeviceTreeTest, SaysWhatIsWrongWithARecording) {
  const std::string good = "P: /devices/a\nE: SUBSYSTEM=usb\n";
  const std::pair<std::string, std::string> cases[] = {
      {"", "file: holds no device"},
      {"E: SUBSYSTEM=usb\n", "file:1: a device has to begin with \"P: /devices/...\""},
      {"P: /sys/../a\n", "file:1: a device has to begin with \"P: /devices/...\""},
      {good + "nonsense\n", "file:3: neither a P, N, S, E, A, L nor H line"},
      {good + "A: ../a=1\n", "file:3: malformed attribute"},
      {good + "H: x=1\n", "file:3: malformed binary attribute"},
      {good + "A: x=\xff\n", "file:3: not UTF-8 text"},
      {good + "\n" + good, "file:4: the same device a second time"},
      {"P: /devices/a\n", "file: /devices/a has no SUBSYSTEM property"},
      {good + "N: a\n", "file: /devices/a has a device node but no DEVNAME property"}};
  for (const auto& [text, message] : cases) {
    try {
      tree_.load_text(text, "file");
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
