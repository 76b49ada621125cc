// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include "sim/device_tree.h"
#include "sim/tool/rehearsal.h"
#include "sim/tool/script.h"
#include "sim/topology_manager.h"

namespace tarni::sim {

/*
 * The simulated machine, device tree and topology manager in one: what is plugged
 * in or pulled out is announced as well, after it is there or gone, as a kernel
 * does it. One thread only.
 */
class Machine {
 public:
  // Throws Failure.
  explicit Machine(const std::vector<std::string>& recordings);

  Population population() const;

  // Hubs that are missing on the way come first, each with its announcement.
  // Disks that come later do not come by themselves: see add_disks().
  void attach(const Attach& attach);
  // All behind it goes first, the deepest foremost.
  void remove(const std::string& port);
  void add_disks(const std::string& port, int count);

  void notify(const Notify& notification);
  void answer(const AnswerRegister& answer);
  void answer(const AnswerCurrent& answer);

  TopologyManager& manager() { return manager_; }

 private:
  bool is_hub(const std::string& name) const;
  void remove_one(const std::string& name);

  DeviceTree tree_;
  TopologyManager manager_;
  AnswerCurrent current_;
};

}  // namespace tarni::sim
