// SPDX-License-Identifier: MIT
#include "record.h"

#include <time.h>

#include <cstdio>

#include "table.h"
#include "text.h"
#include "words.h"

namespace tarni::cli {
namespace {

using std::chrono::milliseconds;

constexpr std::size_t kTimeColumns = 14;  // 12:34:56.789 and two spaces
constexpr std::size_t kWordsColumns = 23;
constexpr const char* kGap = "  ";

std::string with_milliseconds(const tm& parts, const char* format, WallTime time) {
  char text[32];
  static_cast<void>(strftime(text, sizeof text, format, &parts));
  const auto since_epoch = std::chrono::duration_cast<milliseconds>(time.time_since_epoch());
  char fraction[8];
  static_cast<void>(snprintf(fraction, sizeof fraction, ".%03u",
                             static_cast<unsigned>(since_epoch.count() % 1000)));
  return std::string(text) + fraction;
}

std::string local_time_of_day(WallTime time) {
  const time_t seconds = std::chrono::system_clock::to_time_t(time);
  tm parts{};
  localtime_r(&seconds, &parts);
  return with_milliseconds(parts, "%T", time);
}

std::string device_line(const Device& device) {
  std::string line =
      std::string(kTimeColumns, ' ') + device.identity() + kGap + class_words(device.info.dev_cls);
  for (const std::string& part : {device_label(device), joined_nodes(device)})
    if (part != kNothing) line += kGap + part;
  return line + "\n";
}

}  // namespace

std::string record_text(const Record& record) {
  std::string text = padded(local_time_of_day(record.time), kTimeColumns) +
                     padded(record.words, kWordsColumns) + printable(record.path) + "\n";
  if (record.device != nullptr) text += device_line(*record.device);
  return text;
}

std::string utc_time(WallTime time) {
  const time_t seconds = std::chrono::system_clock::to_time_t(time);
  tm parts{};
  gmtime_r(&seconds, &parts);
  return with_milliseconds(parts, "%FT%T", time) + "Z";
}

}  // namespace tarni::cli
