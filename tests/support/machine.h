// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>

#include "sim/device.h"
#include "sim/device_tree.h"
#include "sim/topology_manager.h"
#include "support/captured_stream.h"
#include "support/faults.h"

namespace tarni::test {

// A test in a simulated machine of its own, with the library's log caught.
class MachineTest : public testing::Test {
 protected:
  MachineTest() { manager.publish_address(); }
  ~MachineTest() override { faults::clear(); }

  sim::DeviceTree tree;
  sim::TopologyManager manager;
  CapturedStream log;
  CapturedStream out{1};
};

}  // namespace tarni::test
