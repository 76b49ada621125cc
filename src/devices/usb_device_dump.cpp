// SPDX-License-Identifier: MIT
#include "base/log.h"
#include "devices/usb_device_info.h"

namespace tarni {

int UsbDeviceInfo::dump_info() {
  // The bound is there for strings that are full to their last byte.
  constexpr int kBound = kFieldSize;
  log("[UDF] -- VID:              %4x\n", vid);
  log("[UDF] -- PID:              %4x\n", pid);
  log("[UDF] -- Bus Number:       %d\n", bus_num);
  log("[UDF] -- Dev Addr:         %d\n", dev_addr);
  log("[UDF] -- Active config:    %d\n", active_config);
  log("[UDF] -- Dev Class:        %d\n", dev_class);
  log("[UDF] -- Dev Speed:        %d\n", speed);
  log("[UDF] -- Max power:        %d\n", max_power);
  log("[UDF] -- Manufacturer:     %.*s\n", kBound, manufacturer);
  log("[UDF] -- Product:          %.*s\n", kBound, product);
  log("[UDF] -- Serial Num:       %.*s\n", kBound, serial);
  if (interfaces) interfaces->dump_info();
  dump_path_info();
  log("[UDF] ------------------\n");
  return 0;
}

void UsbDeviceInfo::dump_path_info() {
  log("[UDF] -- Sys fs path :     %s\n", sysfs_path.c_str());
  const std::lock_guard<std::mutex> lock(raw_paths_mutex);
  for (const std::string& path : raw_paths) {
    log("[UDF] -- Raw Dev path :    %s\n", path.c_str());
  }
}

}  // namespace tarni
