// SPDX-License-Identifier: MIT
#include "followups.h"

#include <algorithm>

#include "words.h"

namespace tarni::cli {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr milliseconds kLookEvery{200};
constexpr seconds kGiveUpAfter{10};
// A card reader's disks come one after the other.
constexpr seconds kMoreNodesWithin{1};

bool at_or_below(const std::string& path, const std::string& hub) {
  return path == hub || path.compare(0, hub.size() + 1, hub + ".") == 0;
}

bool complete(const Device* device) {
  return device != nullptr && !class_has_nodes(device->info.dev_cls);
}

}  // namespace

void Followups::add(const std::string& path, const Device* device, Clock::time_point now) {
  drop([&path](const Followed& followed) { return followed.path == path; });
  if (complete(device)) return;
  if (followed_.empty()) next_look_ = now + kLookEvery;
  Followed followed{path, false, {}, now + kGiveUpAfter};
  if (device != nullptr) learn(followed, *device, now);
  followed_.push_back(std::move(followed));
}

void Followups::forget(const std::string& path) {
  drop([&path](const Followed& followed) { return at_or_below(followed.path, path); });
}

void Followups::drop(const std::function<bool(const Followed&)>& which) {
  followed_.erase(std::remove_if(followed_.begin(), followed_.end(), which), followed_.end());
}

// Takes in what a snapshot says of a device; whether that is news.
bool Followups::learn(Followed& followed, const Device& device, Clock::time_point now) {
  if (followed.described && followed.nodes == device.nodes) return false;
  if (!device.nodes.empty()) followed.until = now + kMoreNodesWithin;
  followed.described = true;
  followed.nodes = device.nodes;
  return true;
}

void Followups::look(const std::vector<Device>& devices, Clock::time_point now,
                     const Report& report) {
  next_look_ = now + kLookEvery;
  for (Followed& followed : followed_) {
    const Device* device = device_at(devices, followed.path);
    if (device != nullptr && learn(followed, *device, now)) report(*device);
    if (complete(device)) followed.until = now;
  }
  drop([now](const Followed& followed) { return followed.until <= now; });
}

Clock::time_point Followups::next_look() const {
  return followed_.empty() ? Clock::time_point::max() : next_look_;
}

}  // namespace tarni::cli
