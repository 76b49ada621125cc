// SPDX-License-Identifier: MIT
// Where the kernel shows a device: its sysfs directory and its nodes under /dev.
#include <time.h>

#include <cerrno>

#include "base/log.h"
#include "devices/class_entries.h"
#include "devices/device_class.h"
#include "devices/usb_device_info.h"
#include "fileio/file_io.h"

namespace tarni {
namespace {

constexpr char kSysfsDevices[] = "/sys/bus/usb/devices/";
constexpr char kSysBlock[] = "/sys/block";
constexpr char kSysHidraw[] = "/sys/class/hidraw";
constexpr char kDev[] = "/dev/";
constexpr char kTty[] = "tty";

constexpr time_t kDiskWaitS = 4;

void wait_for_disks() {
  timespec left = {kDiskWaitS, 0};
  while (nanosleep(&left, &left) < 0 && errno == EINTR) {
  }
}

// Nodes of the entries of a sysfs class whose device lies below `dir_name`. The
// name is looked for anywhere in the path, without regard for where a component
// ends: 1-1 also finds what is at 1-1.4, 1-10 and 11-1. Hosts know it so.
void append_class_nodes(const std::vector<std::string>& entries, const std::string& dir_name,
                        std::vector<std::string>& out) {
  for (std::string entry : entries) {
    if (entry.find(dir_name) == std::string::npos) continue;
    std::string name;
    std::string directory;
    File_IO::GetFileNameFromPath(entry, name, directory);
    out.push_back(kDev + name);
  }
}

std::vector<std::string> subdirectories(const std::string& directory, const std::string& pattern) {
  std::vector<std::string> names;
  File_IO::FilterSubDirectoryList(directory, pattern, names);
  return names;
}

// A tty lies at <device>/<interface>/tty/<name>. Names are taken as they come, and
// nobody looks whether the node exists: where the tty stands in place of the tty
// directory, its own tty directory makes a /dev/tty.
void append_tty_nodes(const std::string& sysfs_path, const std::string& dir_name,
                      std::vector<std::string>& out) {
  for (const std::string& interface : subdirectories(sysfs_path, dir_name)) {
    const std::string interface_path = sysfs_path + "/" + interface;
    for (const std::string& tty : subdirectories(interface_path, kTty)) {
      for (const std::string& name : subdirectories(interface_path + "/" + tty, kTty)) {
        out.push_back(kDev + name);
      }
    }
  }
}

}  // namespace

std::string UsbDeviceInfo::get_ports_string() const {
  std::string text;
  for (int i = 0; i < num_ports; ++i) {
    if (i > 0) text += ".";
    text += std::to_string(ports[i]);
  }
  return text;
}

std::string UsbDeviceInfo::get_sysfs_dir_name() const {
  const std::string chain = get_ports_string();
  return chain.empty() ? "" : std::to_string(bus_num) + "-" + chain;
}

std::string UsbDeviceInfo::get_sysfs_path() const {
  const std::string name = get_sysfs_dir_name();
  return name.empty() ? "" : kSysfsDevices + name;
}

int UsbDeviceInfo::load_paths(ClassEntries& classes) {
  sysfs_path = get_sysfs_path();
  load_raw_paths(classes);
  return 0;
}

// Only while there are none: of several threads that waited for the same disk,
// one finds it for all.
void UsbDeviceInfo::load_raw_paths(ClassEntries& classes) {
  const std::lock_guard<std::mutex> lock(raw_paths_mutex);
  if (raw_paths.empty()) raw_device_paths(classes, raw_paths);
}

void UsbDeviceInfo::raw_device_paths(ClassEntries& classes, std::vector<std::string>& out) const {
  const std::string dir_name = get_sysfs_dir_name();
  if (dir_name.empty()) return;
  switch (dev_cls) {
    case kMassStorage:
      log("[UDF] RawDevicePath: searching for mass storage paths - %s\n", dir_name.c_str());
      append_class_nodes(classes.get(kSysBlock), dir_name, out);
      break;
    case kHumanInterface:
      append_class_nodes(classes.get(kSysHidraw), dir_name, out);
      break;
    case kCommunications:
      append_tty_nodes(sysfs_path, dir_name, out);
      break;
    default:
      break;
  }
}

std::size_t UsbDeviceInfo::count_raw_paths() {
  const std::lock_guard<std::mutex> lock(raw_paths_mutex);
  return raw_paths.size();
}

int UsbDeviceInfo::get_devfs_path(char* buf, int len) {
  const std::lock_guard<std::mutex> lock(raw_paths_mutex);
  if (raw_paths.empty() || len < 1) return -1;
  bounded_copy(buf, static_cast<std::size_t>(len), raw_paths.front().c_str());
  return 0;
}

int UsbDeviceInfo::get_num_partitions() {
  std::size_t count = 0;
  if (dev_cls == kMassStorage) {
    count = count_raw_paths();
    if (count == 0) {
      // The kernel makes a disk's node a while after it has made the device. The
      // sysfs path is not made anew: it cannot have changed, and other threads
      // may be reading it.
      wait_for_disks();
      ClassEntries classes;  // as they are now
      load_raw_paths(classes);
      count = count_raw_paths();
    }
  }
  log("[UDF] get_num_partitions: return %d\n", static_cast<int>(count));
  return static_cast<int>(count);
}

int UsbDeviceInfo::get_partition_devpath(int index, char* buf, int len) {
  // First, and also for an index that cannot be: hosts use it to wait for a disk.
  const int count = get_num_partitions();
  if (index < 0 || index >= count || len < 1) return -1;
  const std::lock_guard<std::mutex> lock(raw_paths_mutex);
  const std::string& path = raw_paths[static_cast<std::size_t>(index)];
  bounded_copy(buf, static_cast<std::size_t>(len), path.c_str());
  buf[len - 1] = '\0';
  log("[UDF] get_partition_devpath: index %d returned path %s\n", index, buf);
  return 0;
}

}  // namespace tarni
