// SPDX-License-Identifier: MIT
#include "sim/recording.h"

#include <glib.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <sstream>
#include <stdexcept>
#include <system_error>

#include "sim/places.h"

namespace tarni::sim {
namespace {

constexpr std::size_t kTagLength = 3;  // "E: "
constexpr const char* kDevicesDirectory = "/devices/";

// Files and links in the directory of a device.
constexpr const char* kMadeByUmockdev[] = {"dev", "subsystem", "uevent"};

// Files get a longer name while they are written, and lie below a test bed.
constexpr std::size_t kLongestName = 200;
constexpr std::size_t kLongestPath = 1000;

std::string hex(const std::string& bytes) {
  static const char digits[] = "0123456789ABCDEF";
  std::string out;
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    out += digits[byte >> 4];
    out += digits[byte & 15];
  }
  return out;
}

bool has_tag(const std::string& line, char tag) {
  return line.size() > kTagLength && line[0] == tag && line[1] == ':' && line[2] == ' ';
}

bool is_attribute(const std::string& line) {
  return has_tag(line, 'A') || has_tag(line, 'L') || has_tag(line, 'H');
}

// Name and value of "E: name=value"; without "=" the value is empty.
std::pair<std::string, std::string> split(const std::string& line) {
  const std::size_t equals = line.find('=');
  if (equals == std::string::npos) return {line.substr(kTagLength), ""};
  return {line.substr(kTagLength, equals - kTagLength), line.substr(equals + 1)};
}

std::size_t longest_part(const std::string& path) {
  std::size_t longest = 0;
  for (std::size_t begin = 0, end = 0; end != std::string::npos; begin = end + 1) {
    end = path.find('/', begin);
    longest = std::max(longest, std::min(end, path.size()) - begin);
  }
  return longest;
}

bool is_hex(const std::string& text) {
  return text.size() % 2 == 0 &&
         text.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
}

bool is_device_number(const std::string& text) {
  static const std::regex pattern("[0-9]{1,9}:[0-9]{1,9}(\\\\n)?");
  return std::regex_match(text, pattern);
}

// What is wrong with a line inside a paragraph; null when nothing is.
const char* fault_in(const std::string& line) {
  if (line.size() <= kTagLength || std::string("NSEALH").find(line[0]) == std::string::npos ||
      !has_tag(line, line[0])) {
    return "neither a P, N, S, E, A, L nor H line";
  }
  const bool assigned = line.find('=') != std::string::npos;
  const auto [name, value] = split(line);
  const bool safe = is_safe_name(name);
  switch (line[0]) {
    case 'N':
      return safe && is_hex(value) ? nullptr : "malformed device node";
    case 'S':
      return safe ? nullptr : "malformed link to the device node";
    case 'E':
      return assigned && !name.empty() ? nullptr : "malformed property";
    case 'A':
      if (name == "dev" && is_device_number(value)) return nullptr;
      return assigned && is_attribute_name(name) ? nullptr : "malformed attribute";
    case 'L':
      return !value.empty() && value.size() <= kLongestPath && is_attribute_name(name)
                 ? nullptr
                 : "malformed attribute link";
    default:
      return assigned && is_attribute_name(name) && is_hex(value) ? nullptr
                                                                  : "malformed binary attribute";
  }
}

// MAJOR and MINOR become part of a path.
bool has_plain_numbers(const Record& record) {
  return (record.property("MAJOR") + record.property("MINOR")).find('/') == std::string::npos;
}

// What is wrong with a whole paragraph; null when nothing is.
const char* fault_in(const Record& record) {
  if (record.property("SUBSYSTEM").empty()) return "has no SUBSYSTEM property";
  const std::string subsystem = record.property("SUBSYSTEM");
  if (!is_safe_name(subsystem) || subsystem.find('/') != std::string::npos)
    return "has a malformed SUBSYSTEM property";
  if (!record.node().empty() && record.property("DEVNAME").empty()) {
    return "has a device node but no DEVNAME property";
  }
  if (!has_plain_numbers(record)) return "has a malformed MAJOR or MINOR property";
  return nullptr;
}

class Parser {
 public:
  explicit Parser(const std::string& origin) : origin_(origin) {}

  void add(const std::string& line) {
    ++line_number_;
    if (!is_text(line)) fail("not UTF-8 text");
    if (line.empty()) {
      in_paragraph_ = false;
    } else if (!in_paragraph_) {
      begin(line);
    } else {
      if (const char* fault = fault_in(line)) fail(fault);
      add_places(line);
      records_.back().add_line(line);
    }
  }

  std::vector<Record> finish() {
    if (records_.empty()) throw std::runtime_error(origin_ + ": holds no device");
    for (const Record& record : records_) {
      if (const char* fault = fault_in(record)) {
        throw std::runtime_error(origin_ + ": " + record.path() + " " + fault);
      }
    }
    std::sort(records_.begin(), records_.end(),
              [](const Record& a, const Record& b) { return a.path() < b.path(); });
    return std::move(records_);
  }

 private:
  void begin(const std::string& line) {
    const std::string path = has_tag(line, 'P') ? line.substr(kTagLength) : "";
    if (path.rfind(kDevicesDirectory, 0) != 0 || !is_safe_name(path.substr(1))) {
      fail("a device has to begin with \"P: /devices/...\"");
    }
    if (!paths_.insert(path).second) fail("the same device a second time");
    if (!places_.add_directory(path)) fail("a file of another device is in the way");
    for (const char* made : kMadeByUmockdev) {
      if (!places_.add_file(path + "/" + made)) fail("another device is in the way");
    }
    records_.emplace_back(path);
    in_paragraph_ = true;
  }

  void add_places(const std::string& line) {
    const std::string name = split(line).first;
    if (is_attribute(line)) {
      const std::string file = records_.back().path() + "/" + name;
      if (!attributes_.insert(file).second) fail("the same attribute a second time");
      if (name != "dev" && !places_.add_file(file)) fail("another file or device is in the way");
    } else if ((line[0] == 'N' || line[0] == 'S') && !places_.add_file("/dev/" + name)) {
      fail("another device node or link is in the way");
    }
  }

  [[noreturn]] void fail(const char* fault) const {
    throw std::runtime_error(origin_ + ":" + std::to_string(line_number_) + ": " + fault);
  }

  const std::string& origin_;
  std::size_t line_number_ = 0;
  bool in_paragraph_ = false;
  std::set<std::string> paths_;
  std::set<std::string> attributes_;
  Places places_;
  std::vector<Record> records_;
};

}  // namespace

bool is_safe_name(const std::string& path) {
  return !path.empty() && path[0] != '/' && path.back() != '/' &&
         ("/" + path + "/").find("/../") == std::string::npos &&
         ("/" + path + "/").find("/./") == std::string::npos &&
         path.find("//") == std::string::npos && path.size() <= kLongestPath &&
         longest_part(path) <= kLongestName;
}

bool is_attribute_name(const std::string& name) {
  return is_safe_name(name) && std::find(std::begin(kMadeByUmockdev), std::end(kMadeByUmockdev),
                                         name) == std::end(kMadeByUmockdev);
}

Record& Record::node(const std::string& name, int major, int minor) {
  add_line("N: " + name);
  property("DEVNAME", "/dev/" + name);
  property("MAJOR", std::to_string(major));
  property("MINOR", std::to_string(minor));
  add_line("A: dev=" + std::to_string(major) + ":" + std::to_string(minor) + "\\n");
  return *this;
}

Record& Record::property(const std::string& key, const std::string& value) {
  add_line("E: " + key + "=" + value);
  return *this;
}

Record& Record::attribute(const std::string& name, const std::string& bytes) {
  add_line("H: " + name + "=" + hex(bytes));
  return *this;
}

void Record::add_line(const std::string& line) {
  lines_.push_back(line);
}

std::string Record::node() const {
  for (const std::string& line : lines_) {
    if (has_tag(line, 'N')) return split(line).first;
  }
  return "";
}

std::string Record::property(const std::string& key) const {
  for (const std::string& line : lines_) {
    if (has_tag(line, 'E') && split(line).first == key) return split(line).second;
  }
  return "";
}

std::string Record::text() const {
  // umockdev opens a terminal for each character device without contents. Nobody
  // talks to these devices, and terminals run out.
  const bool plain = property("SUBSYSTEM") == "usb" || property("SUBSYSTEM") == "block";
  std::string out = "P: " + path_ + "\n";
  for (const std::string& line : lines_) {
    const bool empty_node = has_tag(line, 'N') && line.find('=') == std::string::npos;
    out += line + (empty_node && !plain ? "=00\n" : "\n");
  }
  return out + "\n";
}

std::vector<Record> parse_recording(const std::string& text, const std::string& origin) {
  Parser parser(origin);
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) parser.add(line);
  return parser.finish();
}

bool is_text(const std::string& line) {
  return g_utf8_validate(line.data(), static_cast<gssize>(line.size()), nullptr) != FALSE;
}

std::string read_recording_file(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    throw std::runtime_error(path + ": " + std::generic_category().message(errno));
  }
  if (std::filesystem::is_directory(path)) throw std::runtime_error(path + ": is a directory");
  return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace tarni::sim
