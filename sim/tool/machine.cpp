// SPDX-License-Identifier: MIT
#include "sim/tool/machine.h"

#include <algorithm>
#include <fstream>

namespace tarni::sim {
namespace {

constexpr const char* kHubClass = "09";

// More dots, more depth; at the same depth by name.
bool is_deeper(const std::string& a, const std::string& b) {
  const auto dots = [](const std::string& name) {
    return std::count(name.begin(), name.end(), '.');
  };
  return dots(a) != dots(b) ? dots(a) > dots(b) : a < b;
}

}  // namespace

Machine::Machine(const std::vector<std::string>& recordings) {
  for (const std::string& file : recordings) tree_.load(file);
  manager_.publish_address();
}

bool Machine::is_hub(const std::string& name) const {
  std::ifstream file(tree_.root() + tree_.syspath(name) + "/bDeviceClass");
  std::string code;
  file >> code;
  return code == kHubClass;
}

Population Machine::population() const {
  Population population;
  for (const std::string& name : tree_.devices()) {
    (is_hub(name) ? population.hubs : population.others).insert(name);
  }
  return population;
}

void Machine::attach(const Attach& attach) {
  for (const std::string& hub : hubs_above(attach.device.port)) {
    if (tree_.contains(hub)) continue;
    tree_.attach(Hub(hub));
    manager_.hub_attached(hub);
  }
  tree_.attach(attach.device);
  manager_.notify(attach.is_hub ? Notification::kHubAttached : Notification::kDeviceAttached,
                  attach.device.port);
}

void Machine::remove(const std::string& port) {
  std::vector<std::string> names{port};
  for (const std::string& name : tree_.devices()) {
    if (is_behind(name, port)) names.push_back(name);
  }
  std::sort(names.begin(), names.end(), is_deeper);
  for (const std::string& name : names) remove_one(name);
}

void Machine::remove_one(const std::string& name) {
  const Notification code = is_hub(name) ? Notification::kHubRemoved : Notification::kDeviceRemoved;
  tree_.remove(name);
  manager_.notify(code, name);
}

void Machine::add_disks(const std::string& port, int count) {
  for (int i = 0; i < count; ++i) tree_.add_disk(port);
}

void Machine::notify(const Notify& notification) {
  manager_.burst(notification.count,
                 notification_payload(notification.code, notification.name, notification.port));
}

void Machine::answer(const AnswerRegister& answer) {
  if (answer.delay) {
    manager_.answer_register(*answer.delay);
  } else {
    manager_.ignore_register();
  }
}

void Machine::answer(const AnswerCurrent& answer) {
  using Kind = AnswerCurrent::Kind;
  if (answer.kind != Kind::kAsBefore) current_ = answer;
  current_.delay = answer.delay;
  switch (current_.kind) {
    case Kind::kFailure:
      return manager_.fail_current_draw(current_.delay);
    case Kind::kSilence:
      return manager_.ignore_current_draw();
    default:
      return manager_.answer_current_draw(current_.milliamperes, current_.delay);
  }
}

}  // namespace tarni::sim
