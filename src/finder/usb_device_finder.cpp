// SPDX-License-Identifier: MIT
// The device-list side of a finder.
#include "finder/usb_device_finder.h"

#include <string>

#include "cache/cache_mgr.h"
#include "devices/usb_device_info.h"
#include "events/publisher.h"
#include "tpm/finder_tpmgr.h"

namespace tarni {
namespace {

constexpr int kTopologyManagerProtocol = 29;

}  // namespace

UsbDeviceFinder::UsbDeviceFinder() {
  cache = std::make_unique<CacheMgr>();
  state = kConstructed;
  publisher = std::make_shared<Publisher>();
  finder = std::make_unique<FinderTPMgr>(kTopologyManagerProtocol);
}

int UsbDeviceFinder::get_device_list() {
  return cache->new_cache();
}

int UsbDeviceFinder::free_device_list(int list) {
  return cache->free_cache(list);
}

int UsbDeviceFinder::get_next_device(int list) {
  return cache->get_next(list);
}

// In these the reference keeps the description alive should another thread free
// the list meanwhile.

int UsbDeviceFinder::get_device_info(int list, usb_device* out) {
  const std::shared_ptr<UsbDeviceInfo> device = cache->get_device_info(list);
  return device ? device->load_usb_device_struct(out) : -1;
}

int UsbDeviceFinder::get_devfs_path(int list, char* buf, int len) {
  const std::shared_ptr<UsbDeviceInfo> device = cache->get_device_info(list);
  return device ? device->get_devfs_path(buf, len) : -1;
}

int UsbDeviceFinder::get_num_partitions(int list) {
  const std::shared_ptr<UsbDeviceInfo> device = cache->get_device_info(list);
  return device ? device->get_num_partitions() : -1;
}

int UsbDeviceFinder::get_partition_path(int list, int part, char* buf, int len) {
  const std::shared_ptr<UsbDeviceInfo> device = cache->get_device_info(list);
  return device ? device->get_partition_devpath(part, buf, len) : -1;
}

// The snapshot stays in the cache, found or not: hosts rely on it that the
// numbers of their own lists are not used again once they have looked a device
// up. A null path throws, with the snapshot taken.
int UsbDeviceFinder::find_device(const char* path, usb_device* out) {
  const int list = cache->new_cache();
  const std::string text(path);
  const std::shared_ptr<UsbDeviceInfo> device = cache->find_device(list, text);
  return device ? device->load_usb_device_struct(out) : -1;
}

int UsbDeviceFinder::dump_info() {
  const int list = cache->new_cache();
  while (cache->get_next(list) >= 0) {
    const std::shared_ptr<UsbDeviceInfo> device = cache->get_device_info(list);
    if (device) device->dump_info();
  }
  cache->free_cache(list);
  return 0;
}

}  // namespace tarni
