// SPDX-License-Identifier: MIT
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "sim/device_records.h"
#include "sim/recording.h"
#include "sim/testbed.h"

namespace tarni::sim {

/*
 * All directories of the simulated sysfs, and which names they take up. Keeps
 * the test bed in step. Owned by the DeviceTree, whose lock guards it.
 */
class Inventory {
 public:
  // All or nothing: throws std::runtime_error, which begins with origin, when a
  // directory, a name or a node is taken. Directories that are there already to
  // the letter are shared, such as the controller of two recordings. Parents come
  // first.
  void add(const std::vector<Record>& records, const std::string& origin);
  // A directory and all below it, deepest first.
  void remove(const std::string& path);

  // Throws std::out_of_range when there is no such USB device.
  const Place& place(const std::string& name) const;
  bool contains(const std::string& name) const { return places_.count(name) != 0; }
  const std::map<std::string, Place>& places() const { return places_; }

  // Nodes of a directory and all below it, without those under /dev/bus.
  std::vector<std::string> nodes(const std::string& path) const;

  // The next address on a bus that is free, after the last one given.
  int free_address(int bus);

  // The lowest number that makes a free name: name(0), name(1), ...
  template <typename Name>
  int free_index(const std::string& subsystem, Name name) const {
    int index = 0;
    while (names_.count(subsystem + ":" + name(index)) != 0) ++index;
    return index;
  }

  Testbed& testbed() { return testbed_; }
  const Testbed& testbed() const { return testbed_; }

 private:
  bool holds(const Record& record) const;
  void add(const Record& record);
  void forget(const Record& record);
  std::vector<Record> subtree(const std::string& path) const;

  Testbed testbed_;
  std::map<std::string, Record> records_;  // by path
  std::set<std::string> names_;            // that only one directory can have
  std::map<std::string, Place> places_;    // of USB devices, by name
  std::map<int, int> last_addresses_;      // by bus
};

}  // namespace tarni::sim
