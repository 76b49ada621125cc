// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "api/tarni.h"
#include "base/text.h"
#include "devices/usb_device_interfaces.h"

struct libusb_context;
struct libusb_device;
struct libusb_device_handle;

namespace tarni {

class ClassEntries;

// The description of one attached USB device, read when a snapshot is taken.
// Shared by its snapshot and whoever looked it up there; it can outlive the
// snapshot, for it holds a libusb reference of its own on its device.
//
// Never refreshed, but for the device nodes of a disk that had none yet. Safe to
// use from several threads: all else is fixed once the constructor has returned,
// and raw_paths has its lock. The exception is load_info_from_strdesc().
class UsbDeviceInfo {
 public:
  // Loads the description. Where that fails load_usb_device_struct refuses; there
  // are then no texts, no paths and no class.
  explicit UsbDeviceInfo(libusb_device* dev);
  // The same for one of many: what the classes hold is shared between them, and
  // the context is kept open until the last of them has given its device back.
  UsbDeviceInfo(libusb_device* dev, ClassEntries& classes, std::shared_ptr<libusb_context> libusb);
  ~UsbDeviceInfo();
  UsbDeviceInfo(const UsbDeviceInfo&) = delete;
  UsbDeviceInfo& operator=(const UsbDeviceInfo&) = delete;

  // Fills the public record but for the last byte of each text. -1 for a device
  // that is not loaded; the record is then untouched.
  int load_usb_device_struct(usb_device* out);
  // Does nothing: a record is not turned back into a description.
  int parse_usb_device_struct(usb_device* in);

  // Exact equality.
  bool is_sys_path_match(std::string path) const;

  // The first device node, the number of disks, and the node of one of them; see
  // tarni.h.
  int get_devfs_path(char* buf, int len);
  int get_num_partitions();
  int get_partition_devpath(int index, char* buf, int len);

  int dump_info();

  // The strings by the other road, from the device itself, which has to be opened
  // for it; loading takes them from sysfs. Beside no other use of the description,
  // and only while the libusb context is open, which one of a snapshot keeps so.
  int load_info_from_strdesc();

 private:
  // Takes the reference. The public constructors delegate to it, so that the
  // destructor gives it back also where loading throws.
  struct Reference {};
  UsbDeviceInfo(libusb_device* dev, Reference);

  int load_info(ClassEntries& classes);
  int load_info_from_desc();
  int load_info_from_intf();
  void map_dev_class();
  int load_info_strings();
  int retreive_string(std::string directory, std::string name, char* buf, unsigned int len);
  int retreive_string_desc(libusb_device_handle* handle, unsigned char index, unsigned char* buf,
                           int len);
  void dump_path_info();

  std::string get_ports_string() const;
  std::string get_sysfs_dir_name() const;
  std::string get_sysfs_path() const;
  int load_paths(ClassEntries& classes);
  void load_raw_paths(ClassEntries& classes);
  std::size_t count_raw_paths();
  void raw_device_paths(ClassEntries& classes, std::vector<std::string>& out) const;

  static constexpr int kMaxPorts = 8;

  std::uint16_t vid = 0;
  std::uint16_t pid = 0;
  std::uint8_t bus_num = 0;
  std::uint8_t dev_addr = 0;
  std::uint8_t ports[kMaxPorts] = {};  // root side first
  std::int32_t num_ports = 0;          // negative: libusb's error, a chain too deep
  std::uint8_t dev_class = 0;          // USB class code of the device descriptor
  std::int32_t speed = 0;              // as libusb counts them
  std::uint8_t reserved = 0;
  std::uint8_t max_power = 0;      // as in the descriptor: 2 mA, or 8 mA at SuperSpeed
  std::uint8_t active_config = 0;  // 0: not loaded
  // Each text can be full to its last byte, without a terminator.
  std::uint8_t manufacturer_idx = 0;
  char manufacturer[kFieldSize] = {};
  std::uint8_t product_idx = 0;
  char product[kFieldSize] = {};
  std::uint8_t serial_idx = 0;
  char serial[kFieldSize] = {};
  std::int32_t dev_cls = 0;  // a DeviceClass
  std::unique_ptr<UsbDeviceInterfaces> interfaces;
  libusb_device* device = nullptr;
  std::shared_ptr<libusb_context> context;  // of `device`; outlasts it
  std::string sysfs_path;
  std::vector<std::string> raw_paths;  // guarded by raw_paths_mutex
  std::mutex raw_paths_mutex;
};

}  // namespace tarni
