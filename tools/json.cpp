// SPDX-License-Identifier: MIT
#include "json.h"

#include <nlohmann/json.hpp>

#include "record.h"
#include "words.h"

namespace tarni::cli {
namespace {

using Json = nlohmann::ordered_json;

constexpr int kIndent = 2;
constexpr int kOneLine = -1;

std::string serialized(const Json& json, int indent) {
  return json.dump(indent, ' ', true, Json::error_handler_t::replace) + "\n";
}

Json to_json(const Device& device) {
  Json json = {{"index", device.index}, {"readable", device.readable}};
  if (!device.readable) return json;
  const usb_device& info = device.info;
  json.update({
      {"name", device.name()},
      {"id", device.identity()},
      {"vid", info.vid},
      {"pid", info.pid},
      {"class", class_words(info.dev_cls)},
      {"class_code", info.dev_cls},
      {"bus", info.bus_num},
      {"address", info.dev_num},
      {"port", info.port_num},
      {"depth", info.num_ports},
      {"manufacturer", device.manufacturer()},
      {"product", device.product()},
      {"serial", device.serial()},
      {"sysfs_path", device.sysfs_path()},
      {"nodes", device.nodes},
  });
  return json;
}

}  // namespace

std::string devices_json(const std::vector<Device>& devices) {
  Json array = Json::array();
  for (const Device& device : devices) array.push_back(to_json(device));
  return serialized(array, kIndent);
}

std::string device_json(const Device& device) {
  return serialized(to_json(device), kIndent);
}

std::string current_json(int milliamperes) {
  return serialized({{"total_current_ma", milliamperes}}, kOneLine);
}

std::string record_json(const Record& record) {
  Json json = {{"time", utc_time(record.time)}, {"event", record.words}};
  if (record.type) json["type"] = *record.type;
  json["path"] = record.path;
  if (record.device) json["device"] = to_json(*record.device);
  return serialized(json, kOneLine);
}

}  // namespace tarni::cli
