// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "sim/device.h"

namespace tarni::sim {

/*
 * The USB devices of the simulated machine: a private /sys and /dev, kept by
 * umockdev, that a program sees in place of the real ones when it runs with
 * umockdev's preload object. Those are the process that owns the tree, which has
 * to run that way, and all that it starts: the tree's place is in the environment
 * variable UMOCKDEV_DIR from construction to destruction, hence one tree at a
 * time per process. Every change is followed by the kernel's uevent, so a live
 * libusb context notices. The topology manager is not told: see TopologyManager.
 * umockdev keeps two descriptors of each tree until the process ends.
 *
 * All names are the kernel's: "1-1.4" is port 4 of the hub on port 1 of bus 1,
 * "usb1" the root hub of bus 1.
 *
 * Errors are exceptions: std::invalid_argument for a device that cannot be
 * (malformed or occupied port), std::runtime_error for a recording that cannot be
 * loaded or a bus without a free address, std::out_of_range for the name of a
 * device that is not there.
 *
 * Thread-safe: one lock around each operation. Construction and destruction
 * change the environment, so no other thread may be reading it then.
 */
class DeviceTree {
 public:
  // Throws std::runtime_error when the process runs without the preload object.
  DeviceTree();
  ~DeviceTree();
  DeviceTree(const DeviceTree&) = delete;
  DeviceTree& operator=(const DeviceTree&) = delete;

  // Plugs a device in, with its interfaces and nodes. Root hubs and hubs on the
  // way that are missing are made. Addresses count upwards per bus to 127, then
  // the free ones are used again. Returns its directory, /sys/devices/...
  std::string attach(const Device& device);

  // A bus without devices. Does nothing when it is there already.
  void add_bus(int bus);

  // Gives a mass-storage device one more logical unit. Returns its node, such as
  // /dev/sdb.
  std::string add_disk(const std::string& port);

  // Unplugs a device or a root hub and all that is behind it, deepest first. The
  // uevent is sent just before the directory goes.
  void remove(const std::string& name);

  // Loads the recording of a real machine in the text format of umockdev-record,
  // all of it or nothing. Directories that are there already are shared when they
  // are the same to the letter, and an error otherwise.
  void load(const std::string& path);
  // The same from memory; origin stands for the file name in errors.
  void load_text(const std::string& text, const std::string& origin = "recording");

  // Replace (byte for byte) or remove an attribute of a device while it is there.
  void set_attribute(const std::string& name, const std::string& attribute,
                     const std::string& bytes);
  void remove_attribute(const std::string& name, const std::string& attribute);

  bool contains(const std::string& name) const;
  // Names of all USB devices and root hubs, sorted.
  std::vector<std::string> devices() const;
  // Address on the bus.
  int address(const std::string& name) const;
  // Directory /sys/devices/...
  std::string syspath(const std::string& name) const;
  // Nodes of the device and of all behind it, such as /dev/sda, sorted; without
  // those under /dev/bus.
  std::vector<std::string> nodes(const std::string& name) const;
  // The directory outside the simulation that holds its sys and dev.
  std::string root() const;

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace tarni::sim
