// SPDX-License-Identifier: MIT
// The exported functions: each guards against a null finder and delegates.
#include "api/tarni.h"

#include <cstdint>

#include "base/log.h"
#include "finder/usb_device_finder.h"

namespace {

tarni::UsbDeviceFinder* get(void* finder) {
  return static_cast<tarni::UsbDeviceFinder*>(finder);
}

}  // namespace

extern "C" {

void* tarni_open(void) {
  auto* finder = new tarni::UsbDeviceFinder;
  // The line shows an address as a number; there is no other way to get at it.
  tarni::log("[UDF] UsbDeviceFinder address : %lld\n",
             static_cast<long long>(reinterpret_cast<std::intptr_t>(finder)));
  return finder;
}

void tarni_close(void* finder) {
  if (!finder) return;
  delete get(finder);
  tarni::log("[UDF] Deleted finder object\n");
}

int tarni_init(void* finder) {
  return finder ? get(finder)->init() : -1;
}

int tarni_subscribe(void* finder, int type, tarni_callback callback) {
  return finder ? get(finder)->subscribe_to_event(type, callback) : -1;
}

int tarni_subscribe_all(void* finder, tarni_callback callback) {
  return finder ? get(finder)->subscribe_all(callback) : -1;
}

void tarni_dummy_publish(void* finder, int type) {
  if (finder) get(finder)->dummy_publish(type);
}

int tarni_get_total_currentdraw(void* finder) {
  return finder ? get(finder)->get_total_currentdraw() : -1;
}

int tarni_get_device_list(void* finder) {
  return finder ? get(finder)->get_device_list() : -1;
}

int tarni_free_device_list(void* finder, int list) {
  return finder ? get(finder)->free_device_list(list) : -1;
}

int tarni_get_next_device(void* finder, int list) {
  return finder ? get(finder)->get_next_device(list) : -1;
}

int tarni_get_device_info(void* finder, int list, usb_device* device) {
  return finder ? get(finder)->get_device_info(list, device) : -1;
}

int tarni_find_device(void* finder, const char* sysfs_path, usb_device* device) {
  return finder ? get(finder)->find_device(sysfs_path, device) : -1;
}

int tarni_get_devfs_path(void* finder, int list, char* buffer, int size) {
  return finder ? get(finder)->get_devfs_path(list, buffer, size) : -1;
}

int tarni_get_num_partitions(void* finder, int list) {
  return finder ? get(finder)->get_num_partitions(list) : -1;
}

int tarni_get_partition_path(void* finder, int list, int partition, char* buffer, int size) {
  return finder ? get(finder)->get_partition_path(list, partition, buffer, size) : -1;
}

int tarni_dump_info(void* finder) {
  return finder ? get(finder)->dump_info() : -1;
}

}  // extern "C"
