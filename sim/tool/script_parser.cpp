// SPDX-License-Identifier: MIT
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <limits>
#include <sstream>
#include <string_view>
#include <system_error>

#include "sim/tool/attach_command.h"
#include "sim/tool/failure.h"
#include "sim/tool/script.h"
#include "sim/tool/script_values.h"

namespace tarni::sim {
namespace {

constexpr std::int64_t kMostTimes = 1000000;

std::string take_name(ScriptWords& words) {
  // The manager hands names on unchecked, so a test can send whatever it likes.
  return words.take("the name of a device, such as 1-1.4,");
}

template <Notification kCode>
Action take_notification(ScriptWords& words) {
  return Notify{kCode, take_name(words)};
}

template <Notification kCode>
Action take_overcurrent(ScriptWords& words) {
  const std::string hub = take_name(words);
  if (!words.take_if("port")) {
    words.take("\"port N\"");
    words.fail("should be \"port\"");
  }
  return Notify{kCode, hub, static_cast<std::uint8_t>(take_number(words, "a port number", 0, 255))};
}

Action take_burst(ScriptWords& words) {
  const auto count = take_number(words, "a number", 1, kMostTimes);
  return Notify{Notification::kDeviceAttached, take_name(words), 0,
                static_cast<std::size_t>(count)};
}

Action take_register(ScriptWords& words) {
  if (words.take_if("never")) return AnswerRegister{};
  if (words.take_if("late")) return AnswerRegister{take_duration(words)};
  if (words.take_if("normally")) return AnswerRegister{Milliseconds(0)};
  words.take("\"never\", \"late 2s\" or \"normally\"");
  words.fail("should be \"never\", \"late 2s\" or \"normally\"");
}

std::int32_t take_milliamperes(ScriptWords& words) {
  using Limits = std::numeric_limits<std::int32_t>;
  return static_cast<std::int32_t>(take_number(
      words, "a number of mA, \"fail\", \"silent\" or \"after\"", Limits::min(), Limits::max()));
}

Action take_current(ScriptWords& words) {
  using Kind = AnswerCurrent::Kind;
  if (words.take_if("silent")) return AnswerCurrent{Kind::kSilence};
  if (words.take_if("after")) return AnswerCurrent{Kind::kAsBefore, 0, take_duration(words)};
  AnswerCurrent answer;
  if (words.take_if("fail")) {
    answer.kind = Kind::kFailure;
  } else {
    answer.milliamperes = take_milliamperes(words);
  }
  if (words.take_if("after")) answer.delay = take_duration(words);
  return answer;
}

void take_awaited(Expect& expect, ScriptWords& words) {
  if (words.take_if("registered")) {
    expect.code = kRegisterCode;
  } else if (words.take_if("query")) {
    expect.code = kCurrentDrawCode;
  } else if (words.take_if("closed")) {
    expect.kind = Expect::Kind::kClosed;
  } else if (words.take_if("ack")) {
    expect.code = static_cast<std::uint8_t>(take_hex(words, "a code from 80 to ff", 0xff));
    if (expect.code < kAnswerBit) words.fail("is not a code from 80 to ff in hexadecimal");
  } else {
    words.take("\"ack 0x82\", \"registered\", \"query\" or \"closed\"");
    words.fail("should be \"ack 0x82\", \"registered\", \"query\" or \"closed\"");
  }
}

Action take_expect(ScriptWords& words) {
  Expect expect;
  take_awaited(expect, words);
  if (expect.kind == Expect::Kind::kMessage && words.take_if("times")) {
    expect.count = static_cast<std::size_t>(take_number(words, "a number", 1, kMostTimes));
  }
  if (words.take_if("within")) expect.limit = take_duration(words);
  return expect;
}

enum class Place {
  kAnywhere,
  kStarts,      // the first of these starts the program
  kAfterStart,  // needs somebody who listens
};

struct Command {
  std::string_view name;
  Action (*take)(ScriptWords&);
  Place place;
};

constexpr Command kCommands[] = {
    {"attach", [](ScriptWords& w) -> Action { return take_attach(w); }, Place::kAnywhere},
    {"remove", [](ScriptWords& w) -> Action { return Remove{take_port(w)}; }, Place::kAnywhere},
    {"current", take_current, Place::kAnywhere},
    {"register", take_register, Place::kAnywhere},
    {"say", [](ScriptWords& w) -> Action { return Say{w.take("a text")}; }, Place::kAnywhere},
    {"start", [](ScriptWords&) -> Action { return Start{}; }, Place::kStarts},
    {"wait", [](ScriptWords& w) -> Action { return Wait{take_duration(w)}; }, Place::kStarts},
    {"expect", take_expect, Place::kStarts},
    {"stop", [](ScriptWords&) -> Action { return Stop{}; }, Place::kAfterStart},
    {"hang-up", [](ScriptWords&) -> Action { return HangUp{}; }, Place::kAfterStart},
    {"burst", take_burst, Place::kAfterStart},
    {"occluded", take_notification<Notification::kOccludedHubAttached>, Place::kAfterStart},
    {"occluded-removed", take_notification<Notification::kOccludedHubRemoved>, Place::kAfterStart},
    {"unsupported", take_notification<Notification::kUnsupportedDevice>, Place::kAfterStart},
    {"overcurrent", take_overcurrent<Notification::kOvercurrentDetected>, Place::kAfterStart},
    {"overcurrent-over", take_overcurrent<Notification::kOvercurrentRemoved>, Place::kAfterStart},
};

std::string known_commands() {
  std::string names;
  for (const Command& command : kCommands) {
    names += (names.empty() ? "" : ", ") + std::string(command.name);
  }
  return names;
}

const Command& take_command(ScriptWords& words) {
  const std::string& name = words.take("a command");
  for (const Command& command : kCommands) {
    if (command.name == name) return command;
  }
  words.fail("unknown command; known are " + known_commands());
}

class Parser {
 public:
  void parse_line(ScriptWords words) {
    while (!words.empty()) parse_command(words);
  }
  Script take() { return std::move(script_); }

 private:
  void parse_command(ScriptWords& words) {
    const Command& command = take_command(words);
    if (command.place == Place::kAfterStart && !started_) {
      words.fail(
          "nothing is running yet that could be told; put \"start\" or \"expect registered\" "
          "before it");
    }
    started_ = started_ || command.place == Place::kStarts;
    Action action = command.take(words);
    std::vector<Step>& steps = started_ ? script_.after_start : script_.before_start;
    steps.push_back({std::move(action), words.where(), words.taken_text()});
  }

  bool started_ = false;
  Script script_;
};

}  // namespace

Script parse_script(const std::string& text, const std::string& path) {
  const std::string origin = path == "-" ? "<stdin>" : path;
  Parser parser;
  std::istringstream lines(text);
  int number = 0;
  for (std::string line; std::getline(lines, line);) {
    parser.parse_line(ScriptWords(line, origin + ":" + std::to_string(++number)));
  }
  return parser.take();
}

std::string read_script(const std::string& path) {
  if (path == "-") return {std::istreambuf_iterator<char>(std::cin), {}};
  std::ifstream file(path, std::ios::binary);
  if (!file) throw Failure{kScriptError, path + ": " + std::generic_category().message(errno)};
  if (std::filesystem::is_directory(path)) throw Failure{kScriptError, path + ": is a directory"};
  return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace tarni::sim
