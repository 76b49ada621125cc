// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "device.h"

namespace tarni::cli {

using Clock = std::chrono::steady_clock;

// Devices that have just been attached and are not complete yet: not configured,
// or without their nodes, which the kernel makes a while after the notification.
// They are looked up in a new snapshot every now and then rather than with
// tarni_get_num_partitions(), which would hold up all other events for seconds.
class Followups {
 public:
  using Report = std::function<void(const Device& device)>;

  // An attached device; null if the snapshot does not have it yet.
  void add(const std::string& path, const Device* device, Clock::time_point now);

  // A device is gone, and with it all below it.
  void forget(const std::string& path);

  // Reports the devices that have changed since they were last seen, and stops
  // following those that are complete or had their time.
  void look(const std::vector<Device>& devices, Clock::time_point now, const Report& report);

  bool empty() const { return followed_.empty(); }

  // When to look again; the end of time when there is no need.
  Clock::time_point next_look() const;

 private:
  struct Followed {
    std::string path;
    bool described;
    std::vector<std::string> nodes;
    Clock::time_point until;
  };

  void drop(const std::function<bool(const Followed&)>& which);
  static bool learn(Followed& followed, const Device& device, Clock::time_point now);

  std::vector<Followed> followed_;
  Clock::time_point next_look_;
};

}  // namespace tarni::cli
