// SPDX-License-Identifier: MIT
#include "words.h"

#include <tarni.h>

#include <algorithm>
#include <array>
#include <iterator>

namespace tarni::cli {
namespace {

constexpr std::uint16_t kCommunications = 1;
constexpr std::uint16_t kHumanInterface = 2;
constexpr std::uint16_t kMassStorage = 3;

constexpr std::array<const char*, 9> kClassWords = {
    "audio",    "communications", "human interface", "mass storage", "hub",
    "CDC data", "smart card",     "wireless",        "other"};

struct EventRow {
  EventType type;
  const char* words;
};

constexpr EventRow kEventWords[] = {
    {DEVICE_ATTACH, "device attached"},
    {DEVICE_REMOVED, "device removed"},
    {HUB_ATTACH, "hub attached"},
    {OVERCURRENT_DETECTED, "overcurrent detected"},
    {OVERCURRENT_REMOVED, "overcurrent removed"},
    {UNSUPPORTED_DEVICE, "unsupported device"},
    {HUB_REMOVED, "hub removed"},
    {OCCLUDED_HUB_ATTACH, "occluded hub attached"},
    {OCCLUDED_HUB_REMOVED, "occluded hub removed"},
};

}  // namespace

std::string class_words(std::uint16_t device_class) {
  if (device_class < kClassWords.size()) return kClassWords[device_class];
  return "class " + std::to_string(device_class);
}

bool class_has_nodes(std::uint16_t device_class) {
  return device_class == kCommunications || device_class == kHumanInterface ||
         device_class == kMassStorage;
}

bool is_mass_storage(std::uint16_t device_class) {
  return device_class == kMassStorage;
}

std::string event_words(int type) {
  const auto* row = std::find_if(std::begin(kEventWords), std::end(kEventWords),
                                 [type](const EventRow& r) { return r.type == type; });
  return row != std::end(kEventWords) ? row->words : "event " + std::to_string(type);
}

bool event_attaches(int type) {
  return type == DEVICE_ATTACH || type == HUB_ATTACH;
}

bool event_removes(int type) {
  return type == DEVICE_REMOVED || type == HUB_REMOVED;
}

}  // namespace tarni::cli
