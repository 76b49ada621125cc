// SPDX-License-Identifier: MIT
#include "sim/device_tree.h"

#include <map>
#include <mutex>
#include <stdexcept>

#include "sim/descriptors.h"
#include "sim/device_records.h"
#include "sim/inventory.h"
#include "sim/recording.h"

namespace tarni::sim {
namespace {

constexpr const char* kController = "/devices/pci0000:00/0000:00:14.0/";
constexpr int kLastBus = 999;  // has three digits in /dev/bus/usb

// "1-1" for "1-1.4"; empty for "1-1", whose parent is the root hub.
std::string parent_hub(const std::string& port) {
  const std::size_t dot = port.rfind('.');
  return dot == std::string::npos ? "" : port.substr(0, dot);
}

void check(const Device& device) {
  if (!is_port(device.port)) throw std::invalid_argument("\"" + device.port + "\" is no USB port");
  for (const auto& [name, bytes] : device.attributes) {
    if (!is_attribute_name(name)) throw std::invalid_argument("\"" + name + "\" is no attribute");
  }
}

auto numbered(const char* prefix) {
  return [prefix](int index) { return prefix + std::to_string(index); };
}

}  // namespace

class DeviceTree::Impl {
 public:
  std::string attach(const Device& device);
  std::string add_bus(int bus);
  std::string add_disk(const std::string& port);
  void remove(const std::string& name);

  std::mutex mutex;  // guards all that follows
  Inventory inventory;

 private:
  struct Storage {
    std::string interface_path;
    int host;
    int units;
  };

  std::string parent_path(const std::string& port);
  void add_nodes(const Device& device, const Interface& interface, const std::string& path);
  std::string add_disk_to(Storage& storage);

  std::map<std::string, Storage> storages_;  // by name of the device; may be of removed ones
  int hosts_ = 0;
  int hid_instances_ = 0;
};

std::string DeviceTree::Impl::add_bus(int bus) {
  if (bus < 1 || bus > kLastBus) throw std::invalid_argument("buses are numbered from 1 to 999");
  const std::string name = "usb" + std::to_string(bus);
  if (!inventory.contains(name)) {
    const Place place{kController + name, bus, inventory.free_address(bus)};
    inventory.add(root_hub_records(place), name);
  }
  return inventory.place(name).path;
}

std::string DeviceTree::Impl::parent_path(const std::string& port) {
  const std::string hub = parent_hub(port);
  if (hub.empty()) return add_bus(std::stoi(port));
  return inventory.contains(hub) ? inventory.place(hub).path : attach(Hub(hub));
}

std::string DeviceTree::Impl::attach(const Device& device) {
  check(device);
  if (inventory.contains(device.port)) {
    throw std::invalid_argument("port " + device.port + " is occupied");
  }
  std::string path = parent_path(device.port) + "/" + device.port;
  const int bus = std::stoi(device.port);
  const Place place{path, bus, inventory.free_address(bus)};
  inventory.add(device_records(device, place), device.port);
  storages_.erase(device.port);
  if (!device.configured) return path;
  const std::vector<int> numbers = interface_numbers(device);
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    if (device.interfaces[i].alternate != 0) continue;
    add_nodes(device, device.interfaces[i], interface_path(device, place, numbers[i]));
  }
  return path;
}

void DeviceTree::Impl::add_nodes(const Device& device, const Interface& interface,
                                 const std::string& path) {
  if (interface.nodes == Nodes::kHidraw) {
    const int index = inventory.free_index("hidraw", numbered("hidraw"));
    inventory.add(hidraw_records(path, device, ++hid_instances_, index), device.port);
  } else if (interface.nodes == Nodes::kTty) {
    const int index = inventory.free_index("tty", numbered("ttyACM"));
    inventory.add({tty_record(path, index)}, device.port);
  } else if (interface.nodes == Nodes::kDisks) {
    Storage storage{path, hosts_++, 0};
    while (storage.units < interface.disks) add_disk_to(storage);
    storages_.emplace(device.port, storage);
  }
}

std::string DeviceTree::Impl::add_disk(const std::string& port) {
  inventory.place(port);
  const auto storage = storages_.find(port);
  if (storage == storages_.end()) {
    throw std::invalid_argument(port + " was not attached as a mass-storage device");
  }
  return add_disk_to(storage->second);
}

std::string DeviceTree::Impl::add_disk_to(Storage& storage) {
  const int index = inventory.free_index("block", disk_name);
  const Record disk = disk_record(storage.interface_path, storage.host, storage.units, index);
  inventory.add({disk}, disk.name());
  ++storage.units;
  return "/dev/" + disk.node();
}

// ---- The tree itself: the lock, and one operation each ----

DeviceTree::DeviceTree() : impl_(std::make_unique<Impl>()) {}

DeviceTree::~DeviceTree() = default;

std::string DeviceTree::attach(const Device& device) {
  const std::lock_guard<std::mutex> lock(impl_->mutex);
  return "/sys" + impl_->attach(device);
}

void DeviceTree::add_bus(int bus) {
  const std::lock_guard<std::mutex> lock(impl_->mutex);
  impl_->add_bus(bus);
}

std::string DeviceTree::add_disk(const std::string& port) {
  const std::lock_guard<std::mutex> lock(impl_->mutex);
  return impl_->add_disk(port);
}

void DeviceTree::remove(const std::string& name) {
  const std::lock_guard<std::mutex> lock(impl_->mutex);
  impl_->inventory.remove(std::string(impl_->inventory.place(name).path));
}

void DeviceTree::load(const std::string& path) {
  load_text(read_recording_file(path), path);
}

void DeviceTree::load_text(const std::string& text, const std::string& origin) {
  const std::vector<Record> records = parse_recording(text, origin);
  const std::lock_guard<std::mutex> lock(impl_->mutex);
  impl_->inventory.add(records, origin);
}

void DeviceTree::set_attribute(const std::string& name, const std::string& attribute,
                               const std::string& bytes) {
  if (!is_attribute_name(attribute))
    throw std::invalid_argument("\"" + attribute + "\" is no attribute");
  const std::lock_guard<std::mutex> lock(impl_->mutex);
  Inventory& inventory = impl_->inventory;
  inventory.testbed().set_attribute(inventory.place(name).path, attribute, bytes);
}

void DeviceTree::remove_attribute(const std::string& name, const std::string& attribute) {
  if (!is_attribute_name(attribute))
    throw std::invalid_argument("\"" + attribute + "\" is no attribute");
  const std::lock_guard<std::mutex> lock(impl_->mutex);
  Inventory& inventory = impl_->inventory;
  inventory.testbed().remove_attribute(inventory.place(name).path, attribute);
}

bool DeviceTree::contains(const std::string& name) const {
  const std::lock_guard<std::mutex> lock(impl_->mutex);
  return impl_->inventory.contains(name);
}

std::vector<std::string> DeviceTree::devices() const {
  const std::lock_guard<std::mutex> lock(impl_->mutex);
  std::vector<std::string> names;
  for (const auto& [name, place] : impl_->inventory.places()) names.push_back(name);
  return names;
}

int DeviceTree::address(const std::string& name) const {
  const std::lock_guard<std::mutex> lock(impl_->mutex);
  return impl_->inventory.place(name).address;
}

std::string DeviceTree::syspath(const std::string& name) const {
  const std::lock_guard<std::mutex> lock(impl_->mutex);
  return "/sys" + impl_->inventory.place(name).path;
}

std::vector<std::string> DeviceTree::nodes(const std::string& name) const {
  const std::lock_guard<std::mutex> lock(impl_->mutex);
  return impl_->inventory.nodes(impl_->inventory.place(name).path);
}

std::string DeviceTree::root() const {
  return impl_->inventory.testbed().root();
}

}  // namespace tarni::sim
