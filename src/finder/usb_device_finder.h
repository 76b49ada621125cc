// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <thread>

#include "api/tarni.h"

namespace tarni {

class CacheMgr;
class IFinder;
class Publisher;
class UsbDeviceInfo;

// What stands behind a finder handle: owns the device lists, the publisher of
// events and the topology-manager client, and runs the listening thread.
//
// Takes no lock of its own: device lists are guarded by the cache, subscriptions
// by the publisher. init and the destructor must not run beside other calls.
// Results are those of tarni.h.
class UsbDeviceFinder {
 public:
  UsbDeviceFinder();
  ~UsbDeviceFinder();
  UsbDeviceFinder(const UsbDeviceFinder&) = delete;
  UsbDeviceFinder& operator=(const UsbDeviceFinder&) = delete;

  int get_device_list();
  int free_device_list(int list);
  int get_next_device(int list);
  int get_device_info(int list, usb_device* out);
  int get_devfs_path(int list, char* buf, int len);
  int get_num_partitions(int list);
  int get_partition_path(int list, int part, char* buf, int len);
  int find_device(const char* path, usb_device* out);
  int dump_info();

  int init();
  int subscribe_to_event(int type, void (*cb)(usb_event_info));
  int subscribe_all(void (*cb)(usb_event_info));
  int get_total_currentdraw();
  void dummy_publish(int type);

 private:
  // Where a finder stands in its life. Nothing reads it but a debugger.
  enum State : std::int32_t {
    kConstructing = 0,
    kConstructed = 1,
    kListening = 2,
    kInitFailed = -1,
    kStoppedListening = -2,
  };

  void finder_worker();
  bool is_running() const;
  void stop_running();

  // Destroyed from the last to the first: the thread, joined by then; the
  // publisher, which the client shares; the client; the device lists. A callback
  // that still runs is waited for by whoever lets go of the publisher last.
  std::unique_ptr<CacheMgr> cache;
  std::unique_ptr<IFinder> finder;
  std::shared_ptr<Publisher> publisher;
  std::thread worker_thread;
  // Written by init and, when a wait fails, by the listening thread. The two do not
  // meet: the topology-manager client fails a wait only where it never registered.
  std::int32_t state = kConstructing;
  // Cleared by the destructor, read by the listening thread between its waits,
  // without a lock on purpose; see is_running().
  bool running = true;
};

}  // namespace tarni
