// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "unique_fd.h"

namespace tarni::cli {

// Standard output and standard error of the command, kept apart from those of
// the library. libtarni writes its log to descriptors 1 and 2; this class moves
// the real ones elsewhere and puts a log file or /dev/null in their place. Make
// it, and call divert_library(), before the first call into the library.
// Not thread-safe.
class Output {
 public:
  // Thrown by data() when the interrupt descriptor became readable meanwhile.
  struct Interrupted {};

  Output();
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  // Sends what the library prints to a file (appending), or with an empty name
  // nowhere. Throws Failure when the file cannot be opened.
  void divert_library(const std::string& log_file);

  // Runs a call into the library and returns what it printed on standard error.
  std::string captured_errors(const std::function<void()>& call);

  // Writes data to standard output at once, all of it; throws Failure when that
  // does not work (a closed pipe, a full disk).
  void data(std::string_view text);

  // Closes standard output, for file systems that report errors only then.
  void finish();

  // Prints one line of the command's own on standard error. Never fails.
  void message(std::string_view text);

  // A reader that does not read must not make the command deaf: data() gives up
  // when this descriptor becomes readable. -1: none.
  void set_interrupt(int fd) { interrupt_fd_ = fd; }

  // Descriptor of the real standard output, to be polled for its reader's end.
  int descriptor() const { return out_.get(); }

  // Width of the terminal that standard output is; 0 where it is none.
  std::size_t columns() const;

  bool errors_on_terminal() const { return isatty(err_.get()) != 0; }

 private:
  void wait_writable();

  UniqueFd out_;
  UniqueFd err_;
  int interrupt_fd_ = -1;
};

}  // namespace tarni::cli
