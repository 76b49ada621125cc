// SPDX-License-Identifier: MIT
#include "cache/cache_mgr.h"

#include <exception>
#include <utility>

#include "base/log.h"
#include "devices/usb_devices.h"

namespace tarni {

CacheMgr::CacheMgr() = default;
CacheMgr::~CacheMgr() = default;

int CacheMgr::new_cache() {
  const std::lock_guard<std::mutex> lock(cache_mutex);
  const std::int32_t handle = cache_counter.fetch_add(1);
  if (cache_exists(handle)) return -1;
  // The snapshot first, then the entry: should taking it throw, there is none.
  std::shared_ptr<UsbDevices> snapshot = std::make_shared<UsbDevices>();
  caches[handle] = std::move(snapshot);
  return handle;
}

int CacheMgr::free_cache(int handle) {
  const std::lock_guard<std::mutex> lock(cache_mutex);
  caches.erase(handle);
  if (caches.empty()) cache_counter = 0;
  return 0;
}

bool CacheMgr::cache_exists(int handle) const {
  return caches.count(handle) != 0;
}

int CacheMgr::get_next(int handle) {
  const std::lock_guard<std::mutex> lock(cache_mutex);
  if (!cache_exists(handle)) return -1;
  UsbDevices& snapshot = *caches[handle];
  const std::int32_t index = ++snapshot.position();
  return index < static_cast<std::int32_t>(snapshot.all().size()) ? index : -1;
}

std::shared_ptr<UsbDeviceInfo> CacheMgr::get_device_info(int handle) {
  const std::lock_guard<std::mutex> lock(cache_mutex);
  if (!cache_exists(handle)) return nullptr;
  UsbDevices& snapshot = *caches[handle];
  const std::int32_t index = snapshot.position();
  if (index < 0 || index >= static_cast<std::int32_t>(snapshot.all().size())) return nullptr;
  // The test above should make this impossible; a host must not die of it should
  // it be wrong.
  try {
    return snapshot.all().at(static_cast<std::size_t>(index));
  } catch (const std::exception& error) {
    log("[UDF] Error: get_device_info() - %s\n", error.what());
    return nullptr;
  }
}

std::shared_ptr<UsbDeviceInfo> CacheMgr::find_device(int handle, std::string path) {
  const std::lock_guard<std::mutex> lock(cache_mutex);
  if (!cache_exists(handle)) return nullptr;
  return caches[handle]->find_device(path);
}

}  // namespace tarni
