// SPDX-License-Identifier: MIT
#include "sim/inventory.h"

#include <algorithm>
#include <stdexcept>

namespace tarni::sim {
namespace {

constexpr int kLastAddress = 127;

int number_or_zero(const std::string& text) {
  const std::size_t digits = text.find_first_not_of("0123456789");
  return digits == std::string::npos && !text.empty() && text.size() < 9 ? std::stoi(text) : 0;
}

bool is_usb_device(const Record& record) {
  return record.property("SUBSYSTEM") == "usb" && record.property("DEVTYPE") == "usb_device";
}

std::vector<std::string> unique_names(const Record& record) {
  std::vector<std::string> names{record.property("SUBSYSTEM") + ":" + record.name()};
  if (!record.node().empty()) names.push_back("/dev/" + record.node());
  return names;
}

}  // namespace

bool Inventory::holds(const Record& record) const {
  const auto found = records_.find(record.path());
  return found != records_.end() && found->second.text() == record.text();
}

void Inventory::add(const std::vector<Record>& records, const std::string& origin) {
  std::set<std::string> names = names_;
  std::vector<Record> missing;
  for (const Record& record : records) {
    if (holds(record)) continue;
    bool is_free = records_.count(record.path()) == 0;
    for (const std::string& name : unique_names(record)) {
      is_free = names.insert(name).second && is_free;
    }
    if (!is_free) throw std::runtime_error(origin + ": " + record.path() + " is there already");
    missing.push_back(record);
  }
  for (const Record& record : missing) add(record);
}

void Inventory::add(const Record& record) {
  testbed_.add(record);
  records_.emplace(record.path(), record);
  for (const std::string& name : unique_names(record)) names_.insert(name);
  if (!is_usb_device(record)) return;
  const Place place{record.path(), number_or_zero(record.property("BUSNUM")),
                    number_or_zero(record.property("DEVNUM"))};
  places_.emplace(record.name(), place);
  last_addresses_[place.bus] = std::max(last_addresses_[place.bus], place.address);
}

void Inventory::remove(const std::string& path) {
  std::vector<Record> records = subtree(path);
  std::for_each(records.rbegin(), records.rend(), [this](const Record& record) {
    testbed_.remove(record);
    forget(record);
  });
}

void Inventory::forget(const Record& record) {
  for (const std::string& name : unique_names(record)) names_.erase(name);
  if (is_usb_device(record)) places_.erase(record.name());
  records_.erase(record.path());
}

std::vector<Record> Inventory::subtree(const std::string& path) const {
  const std::string inside = path + "/";
  std::vector<Record> out;
  for (const auto& [name, record] : records_) {
    if (name == path || name.compare(0, inside.size(), inside) == 0) out.push_back(record);
  }
  return out;
}

const Place& Inventory::place(const std::string& name) const {
  const auto found = places_.find(name);
  if (found == places_.end()) throw std::out_of_range("there is no USB device " + name);
  return found->second;
}

std::vector<std::string> Inventory::nodes(const std::string& path) const {
  std::vector<std::string> out;
  for (const Record& record : subtree(path)) {
    const std::string node = record.node();
    if (!node.empty() && node.rfind("bus/", 0) != 0) out.push_back("/dev/" + node);
  }
  std::sort(out.begin(), out.end());
  return out;
}

int Inventory::free_address(int bus) {
  std::set<int> taken;
  for (const auto& [name, place] : places_) {
    if (place.bus == bus) taken.insert(place.address);
  }
  int& last = last_addresses_[bus];
  for (int tries = 0; tries < kLastAddress; ++tries) {
    last = last % kLastAddress + 1;
    if (taken.count(last) == 0) return last;
  }
  throw std::runtime_error("bus " + std::to_string(bus) + " has no free address");
}

}  // namespace tarni::sim
