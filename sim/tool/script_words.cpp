// SPDX-License-Identifier: MIT
#include "sim/tool/script_words.h"

#include <algorithm>
#include <cctype>
#include <utility>

#include "sim/recording.h"
#include "sim/tool/failure.h"

namespace tarni::sim {
namespace {

constexpr const char* kBlanks = " \t\r\f\v";

bool is_hex_pair(const std::string& text) {
  return text.size() == 2 && text.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
}

// A script can be any file, and its words go to a terminal.
std::string printable(std::string text) {
  const bool is_utf8 = is_text(text);
  for (char& c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (std::iscntrl(byte) != 0 || (byte >= 0x80 && !is_utf8)) c = '?';
  }
  return text;
}

}  // namespace

ScriptWords::ScriptWords(const std::string& line, std::string where) : where_(std::move(where)) {
  split(line);
}

void ScriptWords::split(const std::string& line) {
  std::size_t begin = line.find_first_not_of(kBlanks);
  while (begin != std::string::npos && line[begin] != '#') {
    std::size_t end = line.size();
    if (line[begin] == '"') {
      end = split_quoted(line, begin);
    } else {
      end = std::min(end, line.find_first_of(kBlanks, begin));
      const std::string word = line.substr(begin, end - begin);
      words_.push_back({word, word, false});
    }
    begin = line.find_first_not_of(kBlanks, end);
  }
}

// Returns the place behind the closing quote.
std::size_t ScriptWords::split_quoted(const std::string& line, std::size_t begin) {
  std::string text;
  std::size_t at = begin + 1;
  while (at < line.size() && line[at] != '"') {
    if (line[at] == '\\') {
      at = unescape(line, at + 1, text);
    } else {
      text += line[at++];
    }
  }
  if (at >= line.size()) fail_at(line.substr(begin), "the quotation does not end");
  words_.push_back({text, line.substr(begin, at + 1 - begin), true});
  return at + 1;
}

// begin: behind the backslash. Returns the place behind the escape.
std::size_t ScriptWords::unescape(const std::string& line, std::size_t begin,
                                  std::string& out) const {
  const char kind = begin < line.size() ? line[begin] : '\0';
  const std::string digits = begin + 1 < line.size() ? line.substr(begin + 1, 2) : "";
  if (kind == '"' || kind == '\\') {
    out += kind;
  } else if (kind == 'n') {
    out += '\n';
  } else if (kind == 't') {
    out += '\t';
  } else if (kind == 'x' && is_hex_pair(digits)) {
    out += static_cast<char>(std::stoi(digits, nullptr, 16));
    return begin + 3;
  } else {
    fail_at(line.substr(begin - 1, 4), "unknown escape; known are \\\" \\\\ \\n \\t \\xHH");
  }
  return begin + 1;
}

const std::string& ScriptWords::take(const std::string& what) {
  if (empty()) {
    if (next_ == 0) fail_at("", what + " is missing");
    fail_at(words_[next_ - 1].written, what + " is missing after it");
  }
  return words_[next_++].text;
}

bool ScriptWords::take_if(const char* word) {
  if (empty() || words_[next_].quoted || words_[next_].text != word) return false;
  ++next_;
  return true;
}

bool ScriptWords::next_is_option() const {
  return !empty() && !words_[next_].quoted && words_[next_].text.rfind("--", 0) == 0;
}

void ScriptWords::fail(const std::string& problem) const {
  fail_at(words_[next_ - 1].written, problem);
}

void ScriptWords::fail_at(const std::string& written, const std::string& problem) const {
  throw Failure{kScriptError, where_ + ": " + printable(written) + ": " + problem};
}

std::string ScriptWords::taken_text() {
  std::string text;
  for (; reported_ < next_; ++reported_) {
    if (!text.empty()) text += ' ';
    text += printable(words_[reported_].written);
  }
  return text;
}

}  // namespace tarni::sim
