// SPDX-License-Identifier: MIT
#include "sim/tool/script_values.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <regex>
#include <string_view>

namespace tarni::sim {
namespace {

constexpr double kLongestMs = 24 * 3600e3;
constexpr std::array<std::string_view, 6> kSpeeds{"1.5", "12", "480", "5000", "10000", "20000"};

// The whole text as a number; nothing when it is none.
std::optional<std::int64_t> whole_number(std::string_view text, int base) {
  std::int64_t value = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value, base);
  if (error != std::errc() || stop != end) return std::nullopt;
  return value;
}

std::optional<Milliseconds> duration(const std::string& text) {
  static const std::regex pattern("([0-9]{1,9})(\\.[0-9]{1,9})?(ms|s)");
  std::smatch parts;
  if (!std::regex_match(text, parts, pattern)) return std::nullopt;
  const double unit = parts[3] == "s" ? 1000 : 1;
  const double ms = std::stod(parts[1].str() + parts[2].str()) * unit;
  if (ms > kLongestMs) return std::nullopt;
  return Milliseconds(static_cast<std::int64_t>(ms));
}

}  // namespace

Milliseconds take_duration(ScriptWords& words) {
  const auto value = duration(words.take("a time, such as 500ms or 2s,"));
  if (!value) words.fail("is no time, such as 500ms or 2s");
  return *value;
}

std::int64_t take_number(ScriptWords& words, const char* what, std::int64_t least,
                         std::int64_t most) {
  const auto value = whole_number(words.take(what), 10);
  if (!value || *value < least || *value > most) {
    words.fail(std::string("is not ") + what + " from " + std::to_string(least) + " to " +
               std::to_string(most));
  }
  return *value;
}

int take_hex(ScriptWords& words, const char* what, int most) {
  std::string_view text = words.take(what);
  if (text.rfind("0x", 0) == 0) text.remove_prefix(2);
  const auto value = whole_number(text, 16);
  if (!value || *value < 0 || *value > most) {
    words.fail(std::string("is not ") + what + " in hexadecimal");
  }
  return static_cast<int>(*value);
}

std::string take_port(ScriptWords& words) {
  const std::string& text = words.take("a port, such as 1-1.4,");
  if (!is_port(text)) words.fail("is no port, such as 1-1.4");
  return text;
}

std::string take_speed(ScriptWords& words) {
  const std::string& text = words.take("a speed");
  if (std::find(kSpeeds.begin(), kSpeeds.end(), text) == kSpeeds.end()) {
    words.fail("is no speed in Mbit/s: 1.5, 12, 480, 5000, 10000 or 20000");
  }
  return text;
}

}  // namespace tarni::sim
