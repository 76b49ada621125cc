// SPDX-License-Identifier: MIT
// Enumeration by the library beside bare libusb and libudev: in one process, turn
// by turn, in a simulated machine that grows.
#include <libusb.h>

#include <array>
#include <functional>
#include <string>

#include "competitors.h"
#include "measure.h"
#include "sim/device_tree.h"
#include "tarni.h"

namespace tarni::bench {
namespace {

// A block is two hubs with four disks and four human interface devices each.
constexpr std::size_t kDevicesPerBlock = 18;
constexpr std::size_t kNodesPerBlock = 16;
constexpr std::size_t kTurnsTimesDevices = 4000;
constexpr std::size_t kClassTurns = 40;

struct Competitor {
  std::function<Found()> enumerate;
  Samples times{};
};
template <std::size_t Size>
using Competitors = std::array<Competitor, Size>;

void attach_hub(sim::DeviceTree& tree, std::size_t port) {
  const std::string hub = "1-" + std::to_string(port);
  tree.attach(sim::Hub(hub).named("Bench", "Hub", ""));
  for (int i = 1; i <= 4; ++i) {
    const std::string serial = "B" + std::to_string(i);
    tree.attach(sim::Disk(hub + "." + std::to_string(i)).named("Bench", "Stick", serial));
    tree.attach(sim::Hid(hub + "." + std::to_string(i + 4)).named("Bench", "Panel", serial));
  }
}

void check_same(const Found& tarni, const Found& usb, const Found& udev, std::size_t blocks) {
  const std::size_t devices = blocks * kDevicesPerBlock + 1;
  check(tarni.devices == devices && usb.devices == devices && udev.devices == devices, "devices");
  check(tarni.identities == usb.identities && usb.identities == udev.identities, "identities");
  check(tarni.characters == usb.characters && usb.characters == udev.characters, "strings");
  check(tarni.nodes == blocks * kNodesPerBlock && udev.nodes == tarni.nodes, "nodes");
}

// Each turn begins with another one, so that none always follows the same.
template <std::size_t Size>
void take_turns(Competitors<Size>& competitors, std::size_t turns) {
  for (std::size_t i = 0; i < turns * Size; ++i) {
    Competitor& competitor = competitors[(i + i / Size) % Size];
    const auto start = Clock::now();
    competitor.enumerate();
    competitor.times.push_back(microseconds(Clock::now() - start) / 1000);
  }
}

void measure(void* finder, std::size_t blocks, const char* contexts) {
  Competitors<3> all{{{[finder] { return enumerate_by_tarni(finder); }},
                      {enumerate_by_libusb},
                      {enumerate_by_libudev}}};
  check_same(all[0].enumerate(), all[1].enumerate(), all[2].enumerate(), blocks);
  const std::size_t devices = blocks * kDevicesPerBlock + 1;
  take_turns(all, kTurnsTimesDevices / devices);
  const auto& [tarni, usb, udev] = all;
  std::fprintf(results, "| %zu | %s | %.2f | %.2f | %.2f | %.2f | %.2f |\n", devices, contexts,
               tarni.times.median(), usb.times.median(), udev.times.median(),
               median_ratio(tarni.times, usb.times), median_ratio(tarni.times, udev.times));
}

// Beside libudev that goes through the classes for each device, which takes too
// long for more than one block.
void measure_classes(void* finder) {
  Competitors<2> both{
      {{[finder] { return enumerate_by_tarni(finder); }}, {enumerate_by_libudev_classes}}};
  check_same(both[0].enumerate(), enumerate_by_libusb(), both[1].enumerate(), 1);
  take_turns(both, kClassTurns);
  const auto& [tarni, udev] = both;
  std::fprintf(results, "libudev, classes by device: %.2f ms; library: %.2f ms, %.2f times\n\n",
               udev.times.median(), tarni.times.median(), median_ratio(tarni.times, udev.times));
}

void enumeration() {
  sim::DeviceTree tree;
  void* finder = tarni_open();
  std::size_t hubs = 0;
  while (hubs < 2) attach_hub(tree, ++hubs);
  measure_classes(finder);
  std::fprintf(results,
               "| devices | other libusb contexts | library, ms | bare libusb, ms | libudev, ms "
               "| library / libusb | library / libudev |\n"
               "|---:|---|---:|---:|---:|---:|---:|\n");
  for (const std::size_t blocks : {1u, 2u, 4u, 7u}) {
    while (hubs < blocks * 2) attach_hub(tree, ++hubs);
    measure(finder, blocks, "none");
    // A context starts faster beside another one.
    libusb_context* other = nullptr;
    check(libusb_init(&other) == 0, "libusb_init");
    measure(finder, blocks, "one");
    libusb_exit(other);
  }
  tarni_close(finder);
}

}  // namespace
}  // namespace tarni::bench

int main() {
  return tarni::bench::run(tarni::bench::enumeration);
}
