// SPDX-License-Identifier: MIT
#include "sim/tool/rehearsal.h"

#include "sim/tool/failure.h"

namespace tarni::sim {
namespace {

void erase_behind(std::set<std::string>& names, const std::string& hub) {
  for (auto name = names.begin(); name != names.end();) {
    name = *name == hub || is_behind(*name, hub) ? names.erase(name) : std::next(name);
  }
}

class Rehearsal {
 public:
  explicit Rehearsal(Population population) : population_(std::move(population)) {}

  void perform(const Step& step) {
    if (const auto* attach = std::get_if<Attach>(&step.action)) check(*attach, step.where);
    if (const auto* removal = std::get_if<Remove>(&step.action)) check(*removal, step.where);
  }

 private:
  void check(const Attach& attach, const std::string& where) {
    const std::string& port = attach.device.port;
    if (population_.contains(port)) fail(where, port, "the port is occupied");
    for (const std::string& hub : hubs_above(port)) {
      if (population_.others.count(hub) != 0) fail(where, port, hub + " is no hub");
      population_.hubs.insert(hub);
    }
    (attach.is_hub ? population_.hubs : population_.others).insert(port);
  }

  void check(const Remove& removal, const std::string& where) {
    if (!population_.contains(removal.port)) fail(where, removal.port, "nothing is plugged in");
    erase_behind(population_.hubs, removal.port);
    erase_behind(population_.others, removal.port);
  }

  [[noreturn]] void fail(const std::string& where, const std::string& word,
                         const std::string& problem) {
    throw Failure{kScriptError, where + ": " + word + ": " + problem};
  }

  Population population_;
};

}  // namespace

std::vector<std::string> hubs_above(const std::string& port) {
  std::vector<std::string> hubs;
  for (std::size_t dot = port.find('.'); dot != std::string::npos; dot = port.find('.', dot + 1)) {
    hubs.push_back(port.substr(0, dot));
  }
  return hubs;
}

bool is_behind(const std::string& name, const std::string& hub) {
  return name.compare(0, hub.size() + 1, hub + ".") == 0;
}

void rehearse(const Script& script, Population population) {
  Rehearsal rehearsal(std::move(population));
  for (const Step& step : script.before_start) rehearsal.perform(step);
  for (const Step& step : script.after_start) rehearsal.perform(step);
}

}  // namespace tarni::sim
