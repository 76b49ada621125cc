// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include "sim/recording.h"

struct _UMockdevTestbed;

namespace tarni::sim {

/*
 * umockdev's test bed: the files that make up the simulated /sys and /dev, and
 * the uevents. Knows directories, not USB; checks nothing, and umockdev ends the
 * process over a device that is there already. Owned by the DeviceTree, whose
 * lock guards it.
 */
class Testbed {
 public:
  Testbed();
  ~Testbed();
  Testbed(const Testbed&) = delete;
  Testbed& operator=(const Testbed&) = delete;

  // Makes a directory, its node and its links; sends the uevent.
  void add(const Record& record);
  // Sends the uevent and takes away all that add() made. Children go first.
  void remove(const Record& record);

  void set_attribute(const std::string& path, const std::string& name, const std::string& bytes);
  void remove_attribute(const std::string& path, const std::string& name);

  std::string root() const;

 private:
  void remove_links(const Record& record);

  _UMockdevTestbed* testbed_;
};

}  // namespace tarni::sim
