// SPDX-License-Identifier: MIT
// Where the manufacturer, product and serial-number strings come from.
#include <libusb.h>

#include "base/log.h"
#include "devices/usb_device_info.h"
#include "fileio/file_io.h"

namespace tarni {
namespace {

// libusb takes the characters of a string as unsigned.
unsigned char* as_unsigned(char* text) {
  return reinterpret_cast<unsigned char*>(text);
}

}  // namespace

// A device without a sysfs directory, such as a root hub, has its strings looked
// for at the root of the file system, where there are none.
int UsbDeviceInfo::load_info_strings() {
  if (manufacturer_idx) {
    retreive_string(sysfs_path, "manufacturer", manufacturer, sizeof(manufacturer));
  }
  if (product_idx) retreive_string(sysfs_path, "product", product, sizeof(product));
  if (serial_idx) retreive_string(sysfs_path, "serial", serial, sizeof(serial));
  return 0;
}

// `buf` comes zeroed, and stays so where there is nothing to read.
int UsbDeviceInfo::retreive_string(std::string directory, std::string name, char* buf,
                                   unsigned int len) {
  const std::string path = directory + "/" + name;
  const unsigned int count = File_IO::ReadFile(path.c_str(), buf, len, 0);
  // A lone line feed stays: it tells an attribute that is blank from one that is
  // missing.
  if (count > 1 && buf[count - 1] == '\n') buf[count - 1] = '\0';
  return 0;
}

int UsbDeviceInfo::load_info_from_strdesc() {
  libusb_device_handle* handle = nullptr;
  const int result = libusb_open(device, &handle);
  if (result < 0) {
    log("[UDF] Error: load_info_from_strdesc : ERROR trying lib_usb_open : return value %d\n",
        result);
  } else {
    retreive_string_desc(handle, manufacturer_idx, as_unsigned(manufacturer), kFieldSize);
    retreive_string_desc(handle, product_idx, as_unsigned(product), kFieldSize);
    retreive_string_desc(handle, serial_idx, as_unsigned(serial), kFieldSize);
  }
  if (handle) libusb_close(handle);
  return result;
}

int UsbDeviceInfo::retreive_string_desc(libusb_device_handle* handle, unsigned char index,
                                        unsigned char* buf, int len) {
  log("[UDF] retreive_string_desc: for index %d\n", index);
  if (index == 0) return 0;
  const int result = libusb_get_string_descriptor_ascii(handle, index, buf, len);
  log("[UDF] retreive_string_desc: retVal : %d\n", result);
  return result;
}

}  // namespace tarni
