// SPDX-License-Identifier: MIT
#include "sim/tool/story.h"

#include <algorithm>
#include <exception>
#include <iostream>
#include <variant>

#include "sim/tool/failure.h"

namespace tarni::sim {
namespace {

// How often the end of the program is looked for while a message is awaited.
constexpr Milliseconds kSlice{10};
// For what a program has sent before its end, and is still on its way.
constexpr Milliseconds kAftermath{1000};
constexpr std::size_t kMostMessagesTold = 8;

}  // namespace

int Story::tell(const Script& script, const std::string& folder) {
  start(script, folder);
  std::size_t next = 0;
  while (next < script.after_start.size() && !host_.has_ended()) {
    perform(script.after_start[next++]);
  }
  judge_what_is_left(script, next);
  // The result is known, and nobody knows whether the program would ever end.
  if (failed_) host_.end();
  run_until(Clock::time_point::max());
  const std::string status = std::to_string(host_.status());
  journal_.add("the program ended with status " + status, machine_.manager());
  return failed_ ? kExpectationFailed : host_.status();
}

void Story::start(const Script& script, const std::string& folder) {
  for (const Step& step : script.before_start) perform(step);
  // Late disks count from here.
  const auto now = Clock::now();
  host_.start(folder);
  std::multimap<Clock::time_point, LateDisks> due;
  for (const auto& [time, disks] : due_) due.emplace(now + (time - Clock::time_point()), disks);
  due_ = std::move(due);
  journal_.add("the program started", machine_.manager());
}

void Story::perform(const Step& step) {
  try {
    std::visit([&](const auto& action) { act(step, action); }, step.action);
  } catch (const std::exception& error) {
    throw Failure{kMachineFailed, step.where + ": " + step.text + ": " + error.what()};
  }
  journal_.add(step.where + ": " + step.text, machine_.manager());
}

// Sees to the disks that are due meanwhile.
void Story::run_until(Clock::time_point time) {
  while (!due_.empty() && due_.begin()->first <= time && !host_.has_ended()) {
    host_.run_until(due_.begin()->first);
    if (host_.has_ended()) return;
    const LateDisks disks = due_.begin()->second;
    due_.erase(due_.begin());
    machine_.add_disks(disks.port, disks.count);
    journal_.add("disks of " + disks.port + " came", machine_.manager());
  }
  if (time == Clock::time_point::max()) return host_.run_to_end();
  host_.run_until(time);
}

// A program that ended before its time may have left nothing to be desired.
void Story::judge_what_is_left(const Script& script, std::size_t from) {
  if (!host_.has_ended() || host_.was_interrupted()) return;
  machine_.manager().wait_for_connections(0, kAftermath);
  for (std::size_t i = from; i < script.after_start.size(); ++i) {
    if (std::holds_alternative<Expect>(script.after_start[i].action))
      perform(script.after_start[i]);
  }
}

// ---- One function for each kind of command ----

void Story::act(const Step&, const Attach& attach) {
  machine_.attach(attach);
  if (attach.late_disks == 0) return;
  due_.emplace((host_.is_running() ? Clock::now() : Clock::time_point()) + attach.disks_after,
               LateDisks{attach.device.port, attach.late_disks});
}

void Story::act(const Step&, const Remove& removal) {
  machine_.remove(removal.port);
  for (auto disks = due_.begin(); disks != due_.end();) {
    const std::string& port = disks->second.port;
    const bool is_gone = port == removal.port || is_behind(port, removal.port);
    disks = is_gone ? due_.erase(disks) : std::next(disks);
  }
}

void Story::act(const Step&, const Notify& notification) {
  machine_.notify(notification);
}

void Story::act(const Step&, const AnswerRegister& answer) {
  machine_.answer(answer);
}

void Story::act(const Step&, const AnswerCurrent& answer) {
  machine_.answer(answer);
}

void Story::act(const Step&, const HangUp&) {
  machine_.manager().hang_up();
}

void Story::act(const Step&, const Start&) {}

void Story::act(const Step&, const Stop&) {
  host_.end();
}

void Story::act(const Step&, const Wait& wait) {
  run_until(Clock::now() + wait.time);
}

void Story::act(const Step&, const Say& say) {
  std::cout << say.text << std::endl;
}

void Story::act(const Step& step, const Expect& expect) {
  if (!comes_in_time(expect) && !host_.was_interrupted()) report_failure(step);
  heard_ = machine_.manager().received().size();
}

// ---- Expectations ----

bool Story::comes_in_time(const Expect& expect) {
  TopologyManager& manager = machine_.manager();
  const auto fits = [&](const ReceivedMessage& message) { return message.code() == expect.code; };
  const auto deadline = Clock::now() + expect.limit;
  std::size_t seen = 0;
  while (true) {
    const bool last_look = host_.has_ended() || Clock::now() >= deadline;
    if (host_.has_ended()) manager.wait_for_connections(0, kAftermath);
    if (expect.kind == Expect::Kind::kClosed) {
      if (manager.wait_for_connections(0, last_look ? Milliseconds(0) : kSlice)) return true;
    } else {
      while (manager.wait_for(fits, last_look ? Milliseconds(0) : kSlice)) {
        if (++seen == expect.count) return true;
      }
    }
    if (last_look) return false;
    run_until(Clock::now());
  }
}

void Story::report_failure(const Step& step) {
  failed_ = true;
  std::string text = step.where + ": " + step.text + ": " + what_came();
  if (host_.has_ended()) {
    text += "; the program ended with status " + std::to_string(host_.status());
  }
  complain(text);
}

std::string Story::what_came() const {
  const std::vector<ReceivedMessage> messages = machine_.manager().received();
  if (messages.size() == heard_) return "nothing came";
  std::string text;
  const std::size_t end = std::min(messages.size(), heard_ + kMostMessagesTold);
  for (std::size_t i = heard_; i < end; ++i) {
    text += (text.empty() ? "" : ", ") + message_words(messages[i]);
  }
  const std::size_t left = messages.size() - end;
  return text + (left == 0 ? "" : " and " + std::to_string(left) + " more") + " came";
}

}  // namespace tarni::sim
