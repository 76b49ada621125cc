// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

namespace tarni::sim {

struct Options {
  std::vector<std::string> machines;
  std::string script;
  std::string log;
  std::vector<std::string> program;  // empty: nothing to do any more
};

// Prints help or the version when asked for. Throws Failure.
Options read_command_line(int argc, char** argv);

}  // namespace tarni::sim
