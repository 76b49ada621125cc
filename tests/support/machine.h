// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "sim/device.h"
#include "sim/device_tree.h"
#include "sim/topology_manager.h"
#include "support/captured_stream.h"
#include "support/faults.h"

namespace tarni::test {

// umockdev's worker starts a thread of glib's, which opens a descriptor, some time
// after the machine is there: tests that count would take them for leaks.
inline bool glib_has_started() {
  for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
    std::string name;
    if (std::ifstream(thread.path() / "comm") >> name && name == "gmain") return true;
  }
  return false;
}

// A test in a simulated machine of its own, with the library's log caught.
class MachineTest : public testing::Test {
 protected:
  MachineTest() {
    manager.publish_address();
    EXPECT_TRUE(eventually(glib_has_started));
  }
  ~MachineTest() override { faults::clear(); }

  sim::DeviceTree tree;
  sim::TopologyManager manager;
  CapturedStream log;
  CapturedStream out{1};
};

}  // namespace tarni::test
