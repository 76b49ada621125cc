// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace tarni::sim {

/*
 * One device directory of sysfs: a paragraph of the text format of
 * umockdev-record. A plain value, whether read from a recording or made up.
 */
class Record {
 public:
  // path: below /sys, such as /devices/pci0000:00/0000:00:14.0/usb1/1-1.
  explicit Record(std::string path) : path_(std::move(path)) {}

  // name: below /dev.
  Record& node(const std::string& name, int major, int minor);
  Record& property(const std::string& key, const std::string& value);
  // bytes: the file's contents, which may be anything.
  Record& attribute(const std::string& name, const std::string& bytes);
  // A line of a recording, tag and all.
  void add_line(const std::string& line);

  const std::string& path() const { return path_; }
  // Last part of the path.
  std::string name() const { return path_.substr(path_.rfind('/') + 1); }
  // Below /dev; empty when there is none.
  std::string node() const;
  // Empty when there is none.
  std::string property(const std::string& key) const;
  // The paragraph, with the empty line that ends it.
  std::string text() const;

 private:
  std::string path_;
  std::vector<std::string> lines_;
};

// Reads a recording; parents come first in the result. Throws std::runtime_error
// that names origin and line. What passes is safe to hand to umockdev, which
// ends the process over some of what this refuses.
std::vector<Record> parse_recording(const std::string& text, const std::string& origin);

// Whether a name of an attribute or node stays inside its directory.
bool is_safe_name(const std::string& name);
// Whether it can be given to an attribute: the three that umockdev makes out of
// the properties cannot.
bool is_attribute_name(const std::string& name);

// Whether it is UTF-8, without a zero in it.
bool is_text(const std::string& line);

// The contents of a file. Throws std::runtime_error.
std::string read_recording_file(const std::string& path);

}  // namespace tarni::sim
