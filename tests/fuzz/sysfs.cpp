// SPDX-License-Identifier: MIT
// A device in a /sys of its own. The first byte of the input is the device, the second
// how much is read of files and from where; then come lines: a directory "bus/usb", a
// file "name=contents" or a link "name>place", each from /sys on.
#include <libusb.h>
#include <time.h>

#include <cassert>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "devices/usb_device_info.h"
#include "fileio/file_io.h"
#include "sim/device_tree.h"

namespace {

namespace fs = std::filesystem;
using namespace tarni::sim;

// Devices as libusb found them; from then on each input makes a /sys of its own.
struct Machine {
  Machine() {
    tree.attach(Disk("1-1", 0));
    tree.attach(Keyboard("1-2"));
    tree.attach(SerialAdapter("1-3"));
    libusb_init(nullptr);
    assert(libusb_get_device_list(nullptr, &devices) == 4);
  }

  DeviceTree tree;
  libusb_device** devices = nullptr;
};

void make_entry(const std::string& sys, const std::string& line, std::uint8_t part) {
  const std::size_t end = std::min(line.find_first_of("=>"), line.size());
  const fs::path path = sys + line.substr(0, end);
  const std::string rest = line.substr(std::min(end + 1, line.size()));
  std::error_code ignored;
  fs::create_directories(line[end] ? path.parent_path() : path, ignored);
  if (line[end] == '>') fs::create_symlink(sys + rest, path, ignored);
  if (line[end] != '=') return;
  std::ofstream(path) << rest << '\n';
  const unsigned int count = part & 15;
  std::vector<char> buffer(count);
  assert(tarni::File_IO::ReadFile(path.c_str(), buffer.data(), count, part >> 4) <= count);
}

}  // namespace

// No disk comes later.
int nanosleep(const timespec*, timespec*) {
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Machine machine;
  const std::string sys = machine.tree.root() + "/sys/";
  const std::string input(data, data + size);
  if (size < 2 || input.find("..") != std::string::npos) return 0;  // nothing outside
  fs::remove_all(sys);
  fs::create_directory(sys);
  std::istringstream lines(input.substr(2));
  for (std::string line; std::getline(lines, line);) make_entry(sys, line, data[1]);
  tarni::UsbDeviceInfo info(machine.devices[data[0] % 4]);
  usb_device record{};
  info.load_usb_device_struct(&record);
  assert(record.manufacturer[255] == 0 && record.product[255] == 0);
  char node[8];
  for (int i = info.get_num_partitions() - 1; i >= 0; --i) {
    assert(info.get_partition_devpath(i, node, sizeof(node)) == 0);
    assert(std::strncmp(node, "/dev/", 5) == 0 && node[7] == '\0');
  }
  info.dump_info();
  return 0;
}
