// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "sim/device.h"
#include "sim/topology_manager.h"

namespace tarni::sim {

using Milliseconds = std::chrono::milliseconds;

// ---- What a command of a script does ----

struct Attach {
  Device device;  // with its disks, but for those that come later
  bool is_hub = false;
  int late_disks = 0;
  Milliseconds disks_after{0};
};

struct Remove {
  std::string port;
};

// One notification, or count of them as fast as they are taken.
struct Notify {
  Notification code;
  std::string name;
  std::uint8_t port = 0;
  std::size_t count = 1;
};

struct AnswerRegister {
  std::optional<Milliseconds> delay;  // nothing: never
};

struct AnswerCurrent {
  enum class Kind { kAsBefore, kValue, kFailure, kSilence } kind = Kind::kValue;
  std::int32_t milliamperes = 0;
  Milliseconds delay{0};
};

struct HangUp {};

struct Start {};

// Ends the program by SIGTERM.
struct Stop {};

struct Wait {
  Milliseconds time;
};

struct Say {
  std::string text;
};

struct Expect {
  enum class Kind { kMessage, kClosed } kind = Kind::kMessage;
  std::uint8_t code = 0;  // second byte of the message
  std::size_t count = 1;
  Milliseconds limit{5000};
};

using Action = std::variant<Attach, Remove, Notify, AnswerRegister, AnswerCurrent, HangUp, Start,
                            Stop, Wait, Say, Expect>;

// A command, and where it stands.
struct Step {
  Action action;
  std::string where;  // "desk.sim:12"
  std::string text;   // its words
};

struct Script {
  std::vector<Step> before_start;  // what makes the machine that the program finds
  std::vector<Step> after_start;
};

// path: for the errors, which are Failures with file, line and word.
Script parse_script(const std::string& text, const std::string& path);

// The contents of a file or, for "-", of standard input. Throws Failure.
std::string read_script(const std::string& path);

}  // namespace tarni::sim
