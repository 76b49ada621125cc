// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace tarni::sim {

/*
 * The words of one line of a script, taken one after the other. Words stand
 * between blanks, or between double quotes with \" \\ \n \t and \xHH inside. A #
 * at the beginning of a word begins a comment.
 *
 * Everything that can be wrong is thrown as a Failure that names file, line and
 * word.
 */
class ScriptWords {
 public:
  ScriptWords(const std::string& line, std::string where);

  bool empty() const { return next_ == words_.size(); }
  const std::string& where() const { return where_; }

  // The next word; what it should be, for the error when there is none.
  const std::string& take(const std::string& what);
  // Takes the next word if it is this one, unquoted.
  bool take_if(const char* word);
  bool next_is_option() const;

  // About the word taken last.
  [[noreturn]] void fail(const std::string& problem) const;

  // The words taken since the last call, as they were written.
  std::string taken_text();

 private:
  struct Word {
    std::string text;
    std::string written;
    bool quoted;
  };

  void split(const std::string& line);
  std::size_t split_quoted(const std::string& line, std::size_t begin);
  std::size_t unescape(const std::string& line, std::size_t begin, std::string& out) const;
  [[noreturn]] void fail_at(const std::string& written, const std::string& problem) const;

  std::string where_;
  std::vector<Word> words_;
  std::size_t next_ = 0;
  std::size_t reported_ = 0;
};

}  // namespace tarni::sim
