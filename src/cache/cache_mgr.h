// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>

namespace tarni {

class UsbDeviceInfo;
class UsbDevices;

// The device lists that one finder has handed out: snapshots under numbers, each
// with a cursor. Owned by the finder. Its one lock guards all device-list state
// and is held for the whole of each operation, the taking of a snapshot
// included; what is handed out is used without it.
//
// Numbers count up from 0 and start again when the table is empty. A number
// still in use after the counter has wrapped makes new_cache fail.
class CacheMgr {
 public:
  CacheMgr();
  ~CacheMgr();
  CacheMgr(const CacheMgr&) = delete;
  CacheMgr& operator=(const CacheMgr&) = delete;

  // Takes a snapshot. Returns its handle, or -1.
  int new_cache();
  // Returns 0, also for an unknown handle.
  int free_cache(int handle);
  // Steps the cursor. Returns the index of the device now current, -1 past the
  // end or for an unknown handle. Every call past the end moves on, so that there
  // is no way back.
  int get_next(int handle);
  // The description at the cursor, or none.
  std::shared_ptr<UsbDeviceInfo> get_device_info(int handle);
  // The first description with that sysfs path, or none; the cursor stays.
  std::shared_ptr<UsbDeviceInfo> find_device(int handle, std::string path);

 private:
  bool cache_exists(int handle) const;

  std::map<std::int32_t, std::shared_ptr<UsbDevices>> caches;  // guarded by cache_mutex
  std::atomic<std::int32_t> cache_counter{0};                  // the next handle
  std::mutex cache_mutex;
};

}  // namespace tarni
