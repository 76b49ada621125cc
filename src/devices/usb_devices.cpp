// SPDX-License-Identifier: MIT
#include "devices/usb_devices.h"

#include <libusb.h>

#include "base/log.h"
#include "devices/class_entries.h"
#include "devices/usb_device_info.h"

namespace tarni {

UsbDevices::UsbDevices(Unopened) {}

UsbDevices::UsbDevices() : UsbDevices(Unopened()) {
  libusb_context* opened = nullptr;
  if (libusb_init(&opened) < 0) return;
  ctx.reset(opened, libusb_exit);
  load_devices();
  initialised = true;
}

// The context closes with the last description, not before: of a device that was
// unplugged meanwhile libusb keeps no track, so that closing does not detach it, and
// giving it back afterwards would reach into a context that is gone.
UsbDevices::~UsbDevices() {
  destroy();
}

int UsbDevices::load_devices() {
  // Without a context libusb would take its default one, which nobody opened.
  if (ctx) libusb_get_device_list(ctx.get(), &devlist);
  populate_device_info();
  destroy_devlist();
  return 0;
}

int UsbDevices::refresh_devicelist() {
  return load_devices();
}

// None is left out: hubs, root hubs and devices that cannot be read count too.
void UsbDevices::populate_device_info() {
  if (!devlist) return;
  ClassEntries classes;
  for (libusb_device** device = devlist; *device; ++device) {
    devices.push_back(std::make_shared<UsbDeviceInfo>(*device, classes, ctx));
  }
}

std::shared_ptr<UsbDeviceInfo> UsbDevices::find_device(std::string sysfs_path) const {
  for (const auto& device : devices) {
    if (device->is_sys_path_match(sysfs_path)) return device;
  }
  return nullptr;
}

int UsbDevices::dump_info() const {
  log("[UDF] Total number of USB devices found : %d\n", static_cast<int>(devices.size()));
  int index = 0;
  int result = 0;
  for (const auto& device : devices) {
    log("[UDF] USB DEVICE %d\n", index++);
    result = device->dump_info();
  }
  return result;
}

void UsbDevices::destroy_devlist() {
  if (!devlist) return;
  libusb_free_device_list(devlist, 1);
  devlist = nullptr;
}

void UsbDevices::destroy() {
  destroy_devlist();
  ctx.reset();
  initialised = false;
}

}  // namespace tarni
