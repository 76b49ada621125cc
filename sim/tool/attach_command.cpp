// SPDX-License-Identifier: MIT
#include "sim/tool/attach_command.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <string_view>

#include "sim/tool/script_values.h"

namespace tarni::sim {
namespace {

constexpr int kMostDisks = 256;  // what the numbers of one bus are good for
constexpr int kMostMilliamperes = 900;

constexpr const char* kKinds = "disk, keyboard, hid, serial, hub, unconfigured or class XX";
constexpr const char* kOptions =
    "--vendor, --product, --name, --manufacturer, --serial, --speed, --power or, for a disk, "
    "--disks and --disk-after";

Device unconfigured_device(const std::string& port) {
  Device device = InterfaceOfClass(port, 0xff);
  return device.unconfigured();
}

struct Kind {
  std::string_view name;
  Device (*make)(const std::string& port);
};
constexpr Kind kKindsByName[] = {
    {"disk", [](const std::string& port) -> Device { return Disk(port); }},
    {"keyboard", [](const std::string& port) -> Device { return Keyboard(port); }},
    {"hid", [](const std::string& port) -> Device { return Hid(port); }},
    {"serial", [](const std::string& port) -> Device { return SerialAdapter(port); }},
    {"hub", [](const std::string& port) -> Device { return Hub(port); }},
    {"unconfigured", unconfigured_device},
};

// What the options say.
struct Details {
  Device& device;
  bool is_disk;
  int disks = 1;
  std::optional<Milliseconds> disks_after{};
};

void check_disk(const Details& details, const ScriptWords& words) {
  if (!details.is_disk) words.fail("is for disks only");
}

struct Option {
  std::string_view name;
  void (*set)(Details&, ScriptWords&);
};
constexpr Option kOptionsByName[] = {
    {"--vendor",
     [](Details& out, ScriptWords& words) {
       out.device.vendor_id =
           static_cast<std::uint16_t>(take_hex(words, "a vendor identifier", 0xffff));
     }},
    {"--product",
     [](Details& out, ScriptWords& words) {
       out.device.product_id =
           static_cast<std::uint16_t>(take_hex(words, "a product identifier", 0xffff));
     }},
    {"--name",
     [](Details& out, ScriptWords& words) { out.device.product = words.take("a product name"); }},
    {"--manufacturer",
     [](Details& out, ScriptWords& words) { out.device.manufacturer = words.take("a name"); }},
    {"--serial",
     [](Details& out, ScriptWords& words) { out.device.serial = words.take("a serial number"); }},
    {"--speed", [](Details& out, ScriptWords& words) { out.device.speed = take_speed(words); }},
    {"--power",
     [](Details& out, ScriptWords& words) {
       out.device.max_power_ma =
           static_cast<int>(take_number(words, "a number of mA", 0, kMostMilliamperes));
     }},
    {"--disks",
     [](Details& out, ScriptWords& words) {
       check_disk(out, words);
       out.disks = static_cast<int>(take_number(words, "a number of disks", 0, kMostDisks));
     }},
    {"--disk-after",
     [](Details& out, ScriptWords& words) {
       check_disk(out, words);
       out.disks_after = take_duration(words);
     }},
};

// The entry of a table with that name; null when there is none.
template <typename Entry, std::size_t kSize>
const Entry* find(const Entry (&table)[kSize], const std::string& name) {
  const auto* found = std::find_if(std::begin(table), std::end(table),
                                   [&](const Entry& entry) { return entry.name == name; });
  return found == std::end(table) ? nullptr : found;
}

void take_options(Details& details, ScriptWords& words) {
  while (words.next_is_option()) {
    const Option* option = find(kOptionsByName, words.take("an option"));
    if (option == nullptr) words.fail(std::string("unknown option; known are ") + kOptions);
    option->set(details, words);
  }
}

Device take_device(const std::string& kind, ScriptWords& words) {
  if (kind == "class") {
    const int code = take_hex(words, "a class code", 0xff);
    return DeviceOfClass(take_port(words), static_cast<std::uint8_t>(code));
  }
  const Kind* known = find(kKindsByName, kind);
  if (known == nullptr) words.fail(std::string("unknown kind of device; known are ") + kKinds);
  return known->make(take_port(words));
}

}  // namespace

Attach take_attach(ScriptWords& words) {
  const std::string kind = words.take(std::string("a kind of device (") + kKinds + ")");
  Attach attach{take_device(kind, words)};
  attach.is_hub = kind == "hub" || attach.device.device_class == 0x09;
  Details details{attach.device, kind == "disk"};
  take_options(details, words);
  if (!details.is_disk) return attach;
  if (details.disks_after) {
    attach.late_disks = details.disks;
    attach.disks_after = *details.disks_after;
    details.disks = 0;
  }
  attach.device.interfaces = {storage_interface(details.disks)};
  return attach;
}

}  // namespace tarni::sim
